#include <stdint.h>

#include "cobalt/ZeloCobalt.h"

namespace {

/// Key codes of the commands from firstCommand on; 0 where a command has no key. The order is the middleware's.
uint8_t const keyTable[] = {
    0x24,                                                                         // 2: home
    0x30, 0x31, 0x32, 0x33, 0x34, 0x35, 0x36, 0x37, 0x38, 0x39,                   // 3 to 12: digits
    0x20,                                                                         // 13: space
    0x41, 0x42, 0x43, 0x44, 0x45, 0x46, 0x47, 0x48, 0x49, 0x4A, 0x4B, 0x4C, 0x4D, // 14 to 26: A to M
    0x4E, 0x4F, 0x50, 0x51, 0x52, 0x53, 0x54, 0x55, 0x56, 0x57, 0x58, 0x59, 0x5A, // 27 to 39: N to Z
    0x26, 0x28, 0x25, 0x27,                                                       // 40: up, down, left, right
    0x0D, 0x00, 0x08,                                                             // 44: return, none, back
    0xAF, 0xAE, 0xAD,                                                             // 47: volume up, volume down, mute
    0x1B, 0x00, 0x00,                                                             // 50: escape, none, none
    0x21, 0x22, 0x70, 0x00,                                                       // 53: page up, page down, F1, none
    0xB3, 0xB2, 0xE3, 0xE4, 0xB1, 0xB0, // 57: play/pause, stop, rewind, forward, previous, next
    0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, // 63 to 75: none
    0xAA,                                                                         // 76: search
};
uint32_t const firstCommand = 2;
static_assert(sizeof keyTable == 75, "commands 2 to 76");

} // namespace

SbKey KeyCodeToSbKey(STBCommand command)
{
    uint32_t const index = static_cast<uint32_t>(command) - firstCommand;
    return index < sizeof keyTable ? static_cast<SbKey>(keyTable[index]) : SbKeyUnknown;
}
