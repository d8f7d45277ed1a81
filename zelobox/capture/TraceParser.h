/// @file
/// Recorded traffic made into records, as its bytes come.
#ifndef ZELO_ZELOBOX_TRACEPARSER_H
#define ZELO_ZELOBOX_TRACEPARSER_H

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "zelobox/capture/ByteInput.h"
#include "zelobox/protocol/Trace.h"

namespace zelobox {

/// Takes "FILE line 7: is no JSON". What throws ends the reading; otherwise the line, packet or bytes are left out.
using OnProblem = std::function<void(std::string const& text)>;

class TraceParser {
public:
    virtual ~TraceParser() = default;

    virtual void append(char const* bytes, size_t size) = 0;
    /// @param atEnd  nothing follows
    /// @return nothing, when more bytes are needed
    virtual std::optional<TraceRecord> next(bool atEnd) = 0;
};

/// @param name  names the file in problems
/// @param direction  of bytes that are no trace; otherwise that of the first message that is known
std::unique_ptr<TraceParser> traceParser(InputFormat format, std::string const& name,
                                         std::optional<Direction> direction, OnProblem onProblem);

/// Tells the format from the first bytes.
///
/// @param atEnd  nothing follows
/// @return nothing, when more bytes are needed
std::optional<InputFormat> formatFrom(std::string const& start, bool atEnd);

} // namespace zelobox

#endif
