/// @file
/// One message as it crosses the socket.
#ifndef ZELO_ZELOBOX_FRAME_H
#define ZELO_ZELOBOX_FRAME_H

#include <cstdint>
#include <vector>

#include "src/ipc/IPCMessage.h"

namespace zelobox {

struct Frame {
    uint8_t kind = 0;
    uint16_t type = 0;
    std::vector<char> payload;

    bool operator==(Frame const& other) const
    {
        return kind == other.kind && type == other.type && payload == other.payload;
    }
};

/// @return the frame that the library would write for @p message
Frame frameOf(IPCMessage&& message);

/// @return header and payload
std::vector<char> bytesOf(Frame const& frame);

} // namespace zelobox

#endif
