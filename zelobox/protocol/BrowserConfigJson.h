/// @file
/// The configuration that the middleware sends: as JSON and as a payload.
#ifndef ZELO_ZELOBOX_BROWSERCONFIGJSON_H
#define ZELO_ZELOBOX_BROWSERCONFIGJSON_H

#include <string>
#include <vector>

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

/// @return the payload of an IPC_BROWSER_CONFIG message
std::vector<char> payloadOf(IPCBrowserConfig const& config);

} // namespace zelobox

#endif
