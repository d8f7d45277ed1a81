/// @file
/// The configuration that the middleware sends, as JSON.
#ifndef ZELO_ZELOBOX_BROWSERCONFIGJSON_H
#define ZELO_ZELOBOX_BROWSERCONFIGJSON_H

#include <string>

#include "src/ipc/IPCBrowserConfig.h"
#include "zelobox/protocol/Json.h"

namespace zelobox {

/// The configuration that is sent unless another is given: 1920 by 1080, English.
IPCBrowserConfig defaultConfig();

/// Replaces the fields that are there. @throw InputError
void mergeConfig(JsonFields& fields, IPCBrowserConfig& config);

/// @throw InputError naming file, line or field
IPCBrowserConfig loadConfig(std::string const& path);

Json jsonOf(IPCBrowserConfig const& config);

} // namespace zelobox

#endif
