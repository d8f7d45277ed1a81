#include "zelobox/protocol/FrameReader.h"

#include "src/ipc/IPCFrame.h"
#include "zelobox/protocol/Peer.h"

namespace zelobox {

uint32_t FrameReader::announced() const
{
    IPCFrameHeader header;
    bool const isThere = buffer.size() >= IPCFrameHeader::Size && readFrameHeader(buffer.data(), header);
    return isThere ? header.length : 0;
}

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

std::optional<Frame> frameFromBytes(std::vector<char> const& bytes)
{
    FrameReader reader;
    reader.append(bytes.data(), bytes.size());
    try {
        std::optional<Frame> frame = reader.next();
        return reader.pending() == 0 ? frame : std::nullopt;
    } catch (PeerError const&) {
        return std::nullopt;
    }
}

} // namespace zelobox
