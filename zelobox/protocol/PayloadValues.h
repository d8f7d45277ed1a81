/// @file
/// Values of payloads for those who need no JSON.
#ifndef ZELO_ZELOBOX_PAYLOADVALUES_H
#define ZELO_ZELOBOX_PAYLOADVALUES_H

#include <cstdint>
#include <string>
#include <vector>

#include "zelobox/protocol/Frame.h"

namespace zelobox {

struct VideoWindow {
    uint16_t x = 0;
    uint16_t y = 0;
    uint16_t width = 0; ///< width and height 0: the whole screen
    uint16_t height = 0;
};

// Each reads a payload as fieldsOf() does: what is missing reads as 0 or as empty, and so does a frame of another kind.

/// @return the low 32 bits of a number
uint32_t numberIn(Frame const& frame);
std::string textIn(Frame const& frame);
VideoWindow videoWindowIn(Frame const& frame);
/// @return the types of an IPC_ALLOWED_MESSAGE_LIST
std::vector<uint32_t> typesIn(Frame const& frame);

} // namespace zelobox

#endif
