/// @file
/// Headers that lead nowhere, described.
#ifndef ZELO_ZELOBOX_HEADERTEXT_H
#define ZELO_ZELOBOX_HEADERTEXT_H

#include <cstdint>
#include <string>
#include <vector>

namespace zelobox {

/// @return "IPC_VOLUME", or "type 9984 (in little-endian it is IPC_VOLUME)"
std::string typeText(uint16_t type);

/// @param bytes  of a frame that is not all there, with the right sync byte; not empty
/// @return "IPC_VOLUME announces 1000 bytes of payload at offset 4 (00 00 03 e8), 4 have come"
std::string unfinishedText(std::vector<char> const& bytes);

/// @param offset  of @p bytes in what the middleware has sent on the connection
/// @return "a frame begins with 'n' (6e 6f 20 66) at byte 66 of the connection, expected the sync byte 6d"
std::string wrongSyncText(std::vector<char> const& bytes, size_t offset);

} // namespace zelobox

#endif
