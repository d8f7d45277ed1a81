#include "tests/simulation/Faults.h"

namespace simulation {

char const* const faultNames[faultKinds] = {"stall", "wall clock", "spurious wake-up", "signal", "partial",
                                            "error", "memory"};

void Faults::set(Fault fault, uint32_t mean)
{
    uint32_t const distance = mean == 0 ? 0 : decisions.choose(Kind::Fault, 2 * mean + 1);
    plans[static_cast<size_t>(fault)] = {mean, distance};
}

bool Faults::strikes(Fault fault)
{
    Plan& plan = plans[static_cast<size_t>(fault)];
    if (plan.distance == 0 || --plan.distance != 0) {
        return false;
    }
    plan.distance = decisions.choose(Kind::Fault, 2 * plan.mean + 1);
    ++struck[static_cast<size_t>(fault)];
    return true;
}

} // namespace simulation
