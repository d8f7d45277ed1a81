#include "zelobox/check/HeaderText.h"

#include <algorithm>

#include "src/ipc/IPCFrame.h"
#include "zelobox/check/PayloadReader.h"
#include "zelobox/protocol/MessageTable.h"

namespace zelobox {

namespace {

size_t const lengthOffset = 4;
size_t const shown = 8;

std::string spaced(char const* begin, size_t size)
{
    std::string text;
    for (size_t i = 0; i < size; ++i) {
        text += (i == 0 ? "" : " ") + hexOf({begin[i]});
    }
    return text;
}

/// @return what the length would have to be read as for the frame to be whole; empty if there is no idea
std::string lengthHint(uint32_t announced, size_t have)
{
    uint32_t const swapped = __builtin_bswap32(announced);
    if (swapped <= have) {
        return "; in little-endian the length is " + std::to_string(swapped);
    }
    if (announced == have + IPCFrameHeader::Size) {
        return "; does the length count the header, too?";
    }
    return "";
}

} // namespace

std::string typeText(uint16_t type)
{
    uint16_t const swapped = __builtin_bswap16(type);
    bool const isSwapped = findMessage(type) == nullptr && findMessage(swapped) != nullptr;
    return messageName(type) + (isSwapped ? " (in little-endian it is " + messageName(swapped) + ")" : "");
}

std::string unfinishedText(std::vector<char> const& bytes)
{
    IPCFrameHeader header;
    if (bytes.size() < IPCFrameHeader::Size || !readFrameHeader(bytes.data(), header)) {
        return countText(bytes.size()) + " of a header have come (" + spaced(bytes.data(), bytes.size()) +
               "), expected " + std::to_string(IPCFrameHeader::Size);
    }
    size_t const have = bytes.size() - IPCFrameHeader::Size;
    return typeText(header.type) + " announces " + countText(header.length) + " of payload at offset " +
           std::to_string(lengthOffset) + " (" + spaced(bytes.data() + lengthOffset, 4) + "), " + std::to_string(have) +
           (have == 1 ? " has come" : " have come") + lengthHint(header.length, have);
}

std::string wrongSyncText(std::vector<char> const& bytes, size_t offset)
{
    return "a frame begins with " + byteText(bytes.front()) + " (" +
           spaced(bytes.data(), std::min(bytes.size(), shown)) + ") at byte " + std::to_string(offset) +
           " of the connection, expected the sync byte 6d";
}

} // namespace zelobox
