/// @file
/// Traffic in files: JSON Lines, or pcapng for Wireshark.
#ifndef ZELO_ZELOBOX_TRACEFILE_H
#define ZELO_ZELOBOX_TRACEFILE_H

#include <fstream>
#include <functional>
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

    /// @throw InputError when there is no room
    void write(TraceRecord const& record);

private:
    void put(std::string const& text);

    std::string const name;
    std::ofstream file;
    std::ostream& stream;
    TraceFormat const format;
};

/// Reads either format, told apart by the first bytes.
///
/// @param path  "-" for the standard input
/// @throw InputError naming line or offset
std::vector<TraceRecord> readTrace(std::string const& path);

/// Reads contents that are there already. What stands before an error is handed over.
///
/// @param name  names the file in errors
/// @throw InputError naming line or offset
void readTrace(std::string const& contents, std::string const& name, TraceFormat format,
               std::function<void(TraceRecord const&)> const& onRecord);

/// @param path  "-" for the standard input
/// @throw InputError
std::string contentsOf(std::string const& path);

/// @return a whole pcapng file
std::string pcapngOf(std::vector<TraceRecord> const& records);

} // namespace zelobox

#endif
