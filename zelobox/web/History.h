/// @file
/// The last records of the traffic.
#ifndef ZELO_ZELOBOX_HISTORY_H
#define ZELO_ZELOBOX_HISTORY_H

#include <deque>

#include "zelobox/protocol/Trace.h"

namespace zelobox {

/// Keeps the latest records, bounded in number and in bytes.
class History {
public:
    static constexpr size_t mostRecords = 10000;
    static constexpr size_t mostBytes = 32 << 20;

    struct Entry {
        uint64_t serial = 0; ///< from 1
        TraceRecord record;
        Json callback = Json(); ///< of a host, in place of the record; null for what crossed the socket
    };

    Entry const& add(TraceRecord const& record, Json callback = Json());

    std::deque<Entry> const& entries() const { return kept; }
    /// @return the serial of the latest record; 0 before the first
    uint64_t lastSerial() const { return serial; }

private:
    std::deque<Entry> kept;
    size_t bytes = 0;
    uint64_t serial = 0;
};

} // namespace zelobox

#endif
