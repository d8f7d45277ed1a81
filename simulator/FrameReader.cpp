#include "simulator/FrameReader.h"

#include "src/ipc/IPCFrame.h"

namespace zelobox {

std::optional<Frame> FrameReader::next()
{
    if (buffer.size() < IPCFrameHeader::Size) {
        return std::nullopt;
    }
    IPCFrameHeader header;
    if (!readFrameHeader(buffer.data(), header)) {
        throw PeerError("a frame began with a wrong sync byte");
    }
    if (buffer.size() - IPCFrameHeader::Size < header.length) {
        return std::nullopt;
    }
    auto const begin = buffer.begin() + IPCFrameHeader::Size;
    auto const end = begin + static_cast<std::ptrdiff_t>(header.length);
    Frame frame = {header.kind, header.type, {begin, end}};
    buffer.erase(buffer.begin(), end);
    return frame;
}

} // namespace zelobox
