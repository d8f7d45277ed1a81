/// @file
/// The steps of a middleware that plays a recorded trace again.
#ifndef ZELO_ZELOBOX_REPLAYSCRIPT_H
#define ZELO_ZELOBOX_REPLAYSCRIPT_H

#include <deque>
#include <functional>
#include <map>
#include <optional>
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

/// The connections of a trace, numbered from 1 in the order of their connects. Of the trace no more is read than what is
/// asked for needs, so that its length costs no memory. Raw bytes from the library are left out.
class ReplayScript {
public:
    /// @return nothing at the end of the trace
    using NextRecord = std::function<std::optional<TraceRecord>()>;

    struct Start {
        size_t record = 0; ///< the number of its first record in the trace
        int64_t gap = 0;   ///< microseconds since the record before it in the trace
    };

    /// @param ignoredTypes  of frames from the library that are left out
    ReplayScript(NextRecord nextRecord, std::set<uint16_t> ignoredTypes)
        : source(std::move(nextRecord)), ignored(std::move(ignoredTypes))
    {
    }

    /// Reads until it is known.
    ///
    /// @return whether the trace has so many connections
    bool hasConnection(unsigned number);
    /// @return null for a connection that has not been read so far
    Start const* startOf(unsigned number) const;

    /// Reads until it is known.
    ///
    /// @return the next step of a connection that has been read; null behind its last one. Valid until pop()
    ReplayStep const* stepOf(unsigned number);
    void pop(unsigned number) { connections[number - 1].steps.pop_front(); }

    /// @return how many records have been read
    size_t recordsRead() const { return count; }

private:
    struct Connection {
        Start start;
        int64_t begin = 0;
        int64_t last = 0; // of its steps
        bool isOver = false;
        std::deque<ReplayStep> steps;
    };

    bool read();
    Connection& connectionOf(TraceRecord const& record);

    NextRecord const source;
    std::set<uint16_t> const ignored;
    std::deque<Connection> connections;
    std::map<unsigned, size_t> open; // by the trace's numbers
    size_t count = 0;
    int64_t before = 0; // the time of the last record
    bool atEnd = false;
};

} // namespace zelobox

#endif
