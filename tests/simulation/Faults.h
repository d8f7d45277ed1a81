/// @file
/// What goes wrong in a run without anybody being at fault.
#ifndef ZELO_SIMULATION_FAULTS_H
#define ZELO_SIMULATION_FAULTS_H

#include <stddef.h>
#include <stdint.h>

#include <array>

#include "tests/simulation/Decisions.h"

namespace simulation {

enum class Fault : uint8_t {
    Stall,     ///< the process does not get the processor
    WallClock, ///< the wall clock steps
    Spurious,  ///< a condition wait ends by itself
    Signal,    ///< a signal interrupts a blocking call
    Partial,   ///< a read or write does less than it could
    Error,     ///< a system call fails
    Memory,    ///< an allocation fails
    Count,
};
size_t const faultKinds = static_cast<size_t>(Fault::Count);
using FaultCounts = std::array<uint64_t, faultKinds>;
extern char const* const faultNames[faultKinds];

/// Lets each kind of fault strike at random distances.
class Faults {
public:
    explicit Faults(Decisions& runDecisions) : decisions(runDecisions) {}

    /// @param mean  chances from one strike to the next, on average; 0: never
    void set(Fault fault, uint32_t mean);
    bool isPossible(Fault fault) const { return plans[static_cast<size_t>(fault)].mean != 0; }
    /// @return whether this chance is one at which the fault strikes
    bool strikes(Fault fault);
    /// @return a number below @p options
    uint32_t choose(uint32_t options) { return decisions.choose(Kind::Fault, options); }
    FaultCounts const& counts() const { return struck; }

private:
    struct Plan {
        uint32_t mean = 0;
        uint32_t distance = 0; ///< 0: none to come
    };

    Decisions& decisions;
    std::array<Plan, faultKinds> plans;
    FaultCounts struck{};
};

} // namespace simulation

#endif
