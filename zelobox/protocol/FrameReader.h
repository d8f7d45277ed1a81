/// @file
/// The reader of frames out of a stream of bytes.
#ifndef ZELO_ZELOBOX_FRAMEREADER_H
#define ZELO_ZELOBOX_FRAMEREADER_H

#include <cstddef>
#include <optional>
#include <vector>

#include "zelobox/protocol/Frame.h"

namespace zelobox {

/// Takes bytes as they come and gives whole frames.
class FrameReader {
public:
    void append(char const* bytes, size_t size) { buffer.insert(buffer.end(), bytes, bytes + size); }

    /// @return the oldest frame that is all there
    /// @throw PeerError when the next frame begins with a wrong sync byte; there is no way to go on
    std::optional<Frame> next();

    /// @return how many bytes wait for the rest of their frame
    size_t pending() const { return buffer.size(); }
    /// @return these bytes
    std::vector<char> const& unread() const { return buffer; }

    /// @return the length of the payload that the next header announces; 0 as long as the header is not all there
    uint32_t announced() const;

private:
    std::vector<char> buffer;
};

/// @return nothing if @p bytes are not exactly one frame
std::optional<Frame> frameFromBytes(std::vector<char> const& bytes);

} // namespace zelobox

#endif
