/// @file
/// The encoder of the configuration that the middleware sends.
#ifndef ZELO_ZELOBOX_BROWSERCONFIGPAYLOAD_H
#define ZELO_ZELOBOX_BROWSERCONFIGPAYLOAD_H

#include <vector>

#include "src/ipc/IPCBrowserConfig.h"

namespace zelobox {

/// @param config  with a device address like "0A:1B:2C:3D:4E:5F"
/// @return the payload of an IPC_BROWSER_CONFIG message
std::vector<char> payloadOf(IPCBrowserConfig const& config);

} // namespace zelobox

#endif
