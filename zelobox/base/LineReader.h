/// @file
/// A reader of lines from a descriptor.
#ifndef ZELO_ZELOBOX_LINEREADER_H
#define ZELO_ZELOBOX_LINEREADER_H

#include <functional>
#include <string>

namespace zelobox {

/// Collects bytes until a line is whole.
class LineReader {
public:
    /// Reads once, and calls @p onLine for every line that is whole, without its end; at the end also for the rest.
    ///
    /// @return false at the end of the stream
    bool read(int fd, std::function<void(std::string const&)> const& onLine);

private:
    std::string rest;
};

} // namespace zelobox

#endif
