/// @file
/// Recorded bytes, as they were or as hexadecimal text, made into a trace.
#ifndef ZELO_ZELOBOX_BYTEINPUT_H
#define ZELO_ZELOBOX_BYTEINPUT_H

#include <optional>
#include <string>
#include <vector>

#include "zelobox/protocol/Trace.h"

namespace zelobox {

enum class InputFormat { Raw, Hex, JsonLines, Pcapng };

/// @return what @p contents look like; bytes when they look like nothing else
InputFormat guessFormat(std::string const& contents);

/// Reads hexadecimal digits in lines; "#" begins a comment.
///
/// @param name  names the file in errors
/// @throw InputError naming the line
std::string bytesOfHexLines(std::string const& contents, std::string const& name);

struct StreamRecords {
    std::vector<TraceRecord> records;  ///< of connection 1, at no time
    std::vector<std::string> problems; ///< "12 bytes at offset 7 are no frame"
};

/// @param bytes  of one direction
/// @param direction  otherwise that of the first message that is known
StreamRecords recordsOfStream(std::string const& bytes, std::optional<Direction> direction);

} // namespace zelobox

#endif
