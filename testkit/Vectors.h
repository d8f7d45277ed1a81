/// @file
/// The wire cases of tests/vectors, and what comes out of their bytes.
///
/// A case:
///
///     name    what it is
///     class   that the receiving side makes of kind and type, "CobaltManager::Config" for a configuration
///     way     "in": only ever received so; "out": only ever sent; missing: both, the bytes are the encoded fields
///     bytes   the payload, hexadecimal
///     fields  what comes out: an object, or the beginning of the text of a failure
///     cut     [[size, outcome], ...]: what comes out of the first so many bytes, up to the next size in the list; the
///             last size may be one more than there is
///     lengths where lengths and counts stand (offset, width), and what comes out when another number is put there;
///             "huge" are the three largest of a signed, a word-aligned and an unsigned count
///
/// The outcome "whole" is the one of "fields".
#ifndef ZELO_TESTKIT_VECTORS_H
#define ZELO_TESTKIT_VECTORS_H

#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "src/ipc/IPCMessage.h"

namespace vectors {

using Json = nlohmann::json;

extern char const configurationClass[];

/// Every case of every file.
///
/// @throw std::exception when a file cannot be read
std::vector<Json> all();

std::vector<char> bytesOf(Json const& vector);

/// @return a message that holds the fields of @p vector, not yet encoded
std::unique_ptr<IPCMessage> messageOf(Json const& vector);

/// Decodes @p payload as received with the kind and the type of @p vector, in memory that is limited by its size.
/// Expects what holds for whatever was received: the class, the kind, the type and the payload are kept.
///
/// @param payload  exactly sized, so that a sanitizer sees a read beyond its end
/// @return the fields, or the text of the failure
Json decode(Json const& vector, std::vector<char> const& payload);

} // namespace vectors

#endif
