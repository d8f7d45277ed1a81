#include "zelobox/capture/TraceRing.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace zelobox {

TraceRing::TraceRing(std::string filePath, uint64_t limit)
    : path(std::move(filePath)), half(limit / 2), writer(std::make_unique<TraceWriter>(path))
{
    if (half != 0) {
        std::remove(olderOf(path).c_str());
    }
}

TraceRing::TraceRing(std::ostream& target)
    : half(0), writer(std::make_unique<TraceWriter>(target, TraceFormat::JsonLines))
{
}

void TraceRing::write(TraceRecord const& record)
{
    if (half != 0 && writer->size() + writer->sizeOf(record) > half && !writer->isEmpty()) {
        // What has been written stays whole whenever the program ends: the name moves, not the bytes.
        if (std::rename(path.c_str(), olderOf(path).c_str()) != 0) {
            throw InputError(olderOf(path) + ": cannot be written: " + std::strerror(errno));
        }
        writer = std::make_unique<TraceWriter>(path);
    }
    writer->write(record);
}

} // namespace zelobox
