#include "zelobox/capture/StreamDecoder.h"

#include "src/ipc/IPCFrame.h"
#include "zelobox/protocol/FrameReader.h"
#include "zelobox/protocol/MessageTable.h"

namespace zelobox {

void StreamDecoder::append(char const* bytes, size_t size)
{
    buffer.erase(buffer.begin(), buffer.begin() + static_cast<std::ptrdiff_t>(begin));
    begin = 0;
    buffer.insert(buffer.end(), bytes, bytes + size);
}

std::optional<TraceRecord> StreamDecoder::next(bool atEnd)
{
    bool wasInStep;
    do {
        wasInStep = inStep;
        if (std::optional<TraceRecord> record = inStep ? nextFrame() : nextRaw()) {
            return record;
        }
    } while (inStep != wasInStep);
    return atEnd ? rest() : std::nullopt;
}

/// @return header and payload, if a header that is not absurd is all there
std::optional<size_t> StreamDecoder::frameSizeAt(size_t offset) const
{
    IPCFrameHeader header;
    if (pending() < offset + IPCFrameHeader::Size || !readFrameHeader(buffer.data() + begin + offset, header) ||
        header.length > longestPayload) {
        return std::nullopt;
    }
    return IPCFrameHeader::Size + header.length;
}

bool StreamDecoder::looksLikeFrameAt(size_t offset) const
{
    IPCFrameHeader header;
    return frameSizeAt(offset) && readFrameHeader(buffer.data() + begin + offset, header) &&
           header.kind <= IPC_PAYLOAD_STRING_ARRAY && findMessage(header.type) != nullptr;
}

/// Falls out of step when there cannot be one.
std::optional<TraceRecord> StreamDecoder::nextFrame()
{
    std::optional<size_t> const size = frameSizeAt(0);
    bool const wrong = pending() != 0 && static_cast<uint8_t>(buffer[begin]) != IPCFrameHeader::Sync;
    if (wrong || (!size && pending() >= IPCFrameHeader::Size)) {
        inStep = false;
        garbage = 1;
        return std::nullopt;
    }
    if (!size || *size > pending()) {
        return std::nullopt;
    }
    TraceRecord record;
    record.frame = *frameFromBytes(take(*size));
    return record;
}

/// Hands over what is certainly no frame; in step again when a frame seems to follow.
std::optional<TraceRecord> StreamDecoder::nextRaw()
{
    size_t offset = garbage;
    auto const undecided = [&] {
        bool const sync = static_cast<uint8_t>(buffer[begin + offset]) == IPCFrameHeader::Sync;
        return sync && pending() - offset < IPCFrameHeader::Size;
    };
    while (offset < pending() && !undecided() && !looksLikeFrameAt(offset)) {
        ++offset;
    }
    garbage = 0;
    inStep = pending() - offset >= IPCFrameHeader::Size;
    return offset != 0 ? std::optional(takeRaw(offset)) : std::nullopt;
}

/// A frame whose end is missing may have a length that lies, and hold whole ones.
std::optional<TraceRecord> StreamDecoder::rest()
{
    for (size_t offset = 1; offset < pending(); ++offset) {
        if (looksLikeFrameAt(offset) && *frameSizeAt(offset) <= pending() - offset) {
            return takeRaw(offset);
        }
    }
    return pending() != 0 ? std::optional(takeRaw(pending())) : std::nullopt;
}

std::vector<char> StreamDecoder::take(size_t size)
{
    auto const first = buffer.begin() + static_cast<std::ptrdiff_t>(begin);
    begin += size;
    taken += size;
    return {first, first + static_cast<std::ptrdiff_t>(size)};
}

TraceRecord StreamDecoder::takeRaw(size_t size)
{
    TraceRecord record;
    record.event = TraceRecord::Event::Raw;
    record.bytes = take(size);
    return record;
}

} // namespace zelobox
