/// @file
/// The decoder of any stream of bytes: frames, and what lies between them.
#ifndef ZELO_ZELOBOX_STREAMDECODER_H
#define ZELO_ZELOBOX_STREAMDECODER_H

#include <cstddef>
#include <optional>
#include <vector>

#include "zelobox/protocol/Trace.h"

namespace zelobox {

/// Takes bytes as they come and hands over every one of them: in a frame, or as raw bytes.
///
/// A receiver gives up at the first wrong sync byte. This one goes on with the next bytes that look like the header of
/// a known message.
class StreamDecoder {
public:
    /// Bytes that claim to begin a longer frame than this begin none.
    static constexpr size_t longestPayload = size_t{64} << 20;

    void append(char const* bytes, size_t size);

    /// @param atEnd  nothing follows: what is left is handed over as it is
    /// @return a record with event, frame and bytes; the rest is the caller's. Nothing, when more bytes are needed
    std::optional<TraceRecord> next(bool atEnd = false);

    /// @return how many bytes have been handed over
    size_t position() const { return taken; }
    /// @return how many bytes wait for more
    size_t pending() const { return buffer.size() - begin; }

private:
    std::optional<size_t> frameSizeAt(size_t offset) const;
    bool looksLikeFrameAt(size_t offset) const;
    std::optional<TraceRecord> nextFrame();
    std::optional<TraceRecord> nextRaw();
    std::optional<TraceRecord> rest();
    std::vector<char> take(size_t size);
    TraceRecord takeRaw(size_t size);

    std::vector<char> buffer;
    size_t begin = 0;   // of what is pending
    size_t garbage = 0; // that many pending bytes are known to begin no frame
    bool inStep = true;
    size_t taken = 0;
};

} // namespace zelobox

#endif
