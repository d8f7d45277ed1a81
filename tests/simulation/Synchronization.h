/// @file
/// The simulated mutexes, conditions and threads of POSIX, and the clocks of atomics.
#ifndef ZELO_SIMULATION_SYNCHRONIZATION_H
#define ZELO_SIMULATION_SYNCHRONIZATION_H

#include <stdint.h>

#include <string>
#include <unordered_map>
#include <vector>

#include "tests/simulation/VectorClock.h"

namespace simulation {

struct Mutex {
    int number = 0; ///< for the trace
    int type = 0;
    int owner = -1; ///< number of a fiber
    bool destroyed = false;
    VectorClock clock;
};

struct Condition {
    int number = 0;
    bool destroyed = false;
    int clockId = 0;
    uint64_t waits = 0;
};

/// By the addresses of the objects in the simulated memory.
struct Synchronization {
    std::unordered_map<uintptr_t, Mutex> mutexes;
    std::unordered_map<uintptr_t, Condition> conditions;
    std::unordered_map<uintptr_t, VectorClock> atomics;
    int nextNumber = 1;
};

} // namespace simulation

#endif
