#include "tests/simulation/States.h"

namespace simulation {

bool States::isKnown(uint64_t state, size_t decisions, unsigned preemptions)
{
    if (!prunes || decisions < repeated) {
        return false;
    }
    uint8_t const now = static_cast<uint8_t>(most - preemptions + 1);
    uint8_t& before = left[state]; // 0: never
    if (before >= now) {
        return true;
    }
    before = now;
    return false;
}

uint64_t States::digest() const
{
    uint64_t sum = 0;
    for (uint64_t const state : finals) {
        sum = mixed(sum, state);
    }
    return sum;
}

} // namespace simulation
