/// @file
/// Frames as named fields: decoded for people, traces and comparisons; encoded from what scenarios say.
#ifndef ZELO_ZELOBOX_FRAMEJSON_H
#define ZELO_ZELOBOX_FRAMEJSON_H

#include <string>

#include "src/ipc/IPCBrowserConfig.h"
#include "zelobox/protocol/Frame.h"
#include "zelobox/protocol/Json.h"

namespace zelobox {

/// Decodes a payload as a receiver does: the kind decides, and for raw payloads the type.
///
/// A payload that its own fields would not encode to (too short, too long, a length that lies) has the additional
/// fields "inexact", true, and "bytes", the payload in hexadecimal.
///
/// @return an object; empty for an empty raw payload
Json fieldsOf(Frame const& frame);

/// Encodes the frame that @p fields describe: "frame" is a name or a number, the rest are the fields that fieldsOf()
/// gives. "kind" replaces the usual kind; "bytes" gives the payload in hexadecimal in place of the fields.
///
/// @param base  the configuration whose fields an IPC_BROWSER_CONFIG replaces
/// @throw InputError
Frame frameFrom(JsonFields& fields, IPCBrowserConfig const& base);

/// @return "IPC_REMOTE_KEY command=44 modifier=0 (Return)"
std::string textOf(Frame const& frame);
/// @param fields  those of @p frame, decoded already
std::string textOf(Frame const& frame, Json const& fields);

} // namespace zelobox

#endif
