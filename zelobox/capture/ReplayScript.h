/// @file
/// The steps of a middleware that plays a recorded trace again.
#ifndef ZELO_ZELOBOX_REPLAYSCRIPT_H
#define ZELO_ZELOBOX_REPLAYSCRIPT_H

#include <set>
#include <vector>

#include "zelobox/protocol/Trace.h"

namespace zelobox {

struct ReplayStep {
    enum class Kind {
        Send,        ///< the middleware sends bytes
        Expect,      ///< the library sends a frame
        Close,       ///< the middleware closes
        ExpectClose, ///< the library closes
    };

    Kind kind = Kind::Send;
    size_t record = 0;  ///< its number in the trace, from 1
    int64_t offset = 0; ///< microseconds since the connect
    int64_t gap = 0;    ///< microseconds since the step before it
    std::vector<char> bytes;
    Frame frame;
};

/// One connection of the trace.
struct ReplayConnection {
    size_t record = 0; ///< the number of its first record in the trace
    int64_t gap = 0;   ///< microseconds since the record before it in the trace
    std::vector<ReplayStep> steps;
};

/// @param ignored  types of frames from the library that are left out
/// @return the connections in the order of their connects. Raw bytes from the library are left out
std::vector<ReplayConnection> replayScript(std::vector<TraceRecord> const& records, std::set<uint16_t> const& ignored);

} // namespace zelobox

#endif
