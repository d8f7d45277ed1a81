/// @file
/// Traffic in files: JSON Lines, or pcapng for Wireshark.
#ifndef ZELO_ZELOBOX_TRACEFILE_H
#define ZELO_ZELOBOX_TRACEFILE_H

#include <fstream>
#include <string>
#include <vector>

#include "zelobox/protocol/Trace.h"

namespace zelobox {

enum class TraceFormat { JsonLines, Pcapng };

/// @return pcapng for a name that ends so, else JSON Lines
TraceFormat traceFormatOf(std::string const& path);
/// @return what the first bytes say
TraceFormat traceFormatIn(std::string const& contents);

/// Writes records as they come. What has been written is in the file whatever becomes of the program.
class TraceWriter {
public:
    /// Begins the file anew; its format follows from its name.
    ///
    /// @throw InputError when it cannot be written
    explicit TraceWriter(std::string const& path);
    /// @param target  not owned; must live longer
    TraceWriter(std::ostream& target, TraceFormat wanted);

    /// Leaves it to the stream when something is written.
    void setBuffered() { isBuffered = true; }

    /// @return the bytes that have been written
    uint64_t size() const { return written; }
    bool isEmpty() const { return written == headSize; }

    /// @return the bytes that @p record takes
    uint64_t sizeOf(TraceRecord const& record) const { return encoded(record).size(); }

    /// @throw InputError when there is no room
    void write(TraceRecord const& record);

private:
    std::string encoded(TraceRecord const& record) const;
    void put(std::string const& text);

    std::string const name;
    std::ofstream file;
    std::ostream& stream;
    TraceFormat const format;
    bool isBuffered = false;
    uint64_t written = 0;
    uint64_t headSize = 0;
};

/// @param path  "-" for the standard input
/// @throw InputError
std::string contentsOf(std::string const& path);

/// @return a whole pcapng file
std::string pcapngOf(std::vector<TraceRecord> const& records);

} // namespace zelobox

#endif
