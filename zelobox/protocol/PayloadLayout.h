/// @file
/// Payloads as named fields.
#ifndef ZELO_ZELOBOX_PAYLOADLAYOUT_H
#define ZELO_ZELOBOX_PAYLOADLAYOUT_H

#include <cstdint>
#include <vector>

#include "src/ipc/IPCBrowserConfig.h"
#include "zelobox/protocol/Json.h"

namespace zelobox {

using Payload = std::vector<char>;

/// One layout of a payload, both ways.
struct Layout {
    /// @return an object, empty if nothing can be decoded
    Json (*decode)(Payload const& payload);
    /// @param base  the configuration whose fields an IPC_BROWSER_CONFIG replaces
    /// @throw InputError
    Payload (*encode)(JsonFields& fields, IPCBrowserConfig const& base);
};

/// @return how a receiver reads a payload: the kind decides, and for raw payloads the type
Layout layoutOf(uint8_t kind, uint16_t type);

} // namespace zelobox

#endif
