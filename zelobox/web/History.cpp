#include "zelobox/web/History.h"

#include <utility>

namespace zelobox {

namespace {

size_t sizeOf(TraceRecord const& record)
{
    return sizeof record + record.frame.payload.size() + record.bytes.size();
}

} // namespace

History::Entry const& History::add(TraceRecord const& record, Json callback)
{
    kept.push_back({++serial, record, std::move(callback)});
    bytes += sizeOf(record);
    while (kept.size() > mostRecords || (bytes > mostBytes && kept.size() > 1)) {
        bytes -= sizeOf(kept.front().record);
        kept.pop_front();
    }
    return kept.back();
}

} // namespace zelobox
