/// @file
/// A trace file that does not grow without a bound.
#ifndef ZELO_ZELOBOX_TRACERING_H
#define ZELO_ZELOBOX_TRACERING_H

#include <cstdint>
#include <memory>
#include <string>

#include "zelobox/protocol/TraceFile.h"

namespace zelobox {

/// Writes into a file. Of two halves of the limit the older one lies in a second file, whose name ends in ".old"; when
/// the newer one is full it takes that place.
class TraceRing {
public:
    /// Begins anew: an older half of before is gone.
    ///
    /// @param limit  in bytes, for both together; 0: none
    /// @throw InputError
    TraceRing(std::string filePath, uint64_t limit);
    /// Writes JSON Lines without a limit.
    ///
    /// @param target  not owned; must live longer
    explicit TraceRing(std::ostream& target);

    /// @throw InputError
    void write(TraceRecord const& record);

    /// @return where the older half of @p path lies
    static std::string olderOf(std::string const& path) { return path + ".old"; }

private:
    std::string const path;
    uint64_t const half; // 0: no limit
    std::unique_ptr<TraceWriter> writer;
};

} // namespace zelobox

#endif
