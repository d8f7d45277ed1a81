/// @file
/// Happens-before between the simulated threads.
#ifndef ZELO_SIMULATION_VECTORCLOCK_H
#define ZELO_SIMULATION_VECTORCLOCK_H

#include <stddef.h>
#include <stdint.h>

#include <algorithm>
#include <array>

namespace simulation {

/// Threads that exist at one time. A thread that has ended gives its number back.
size_t const maxThreads = 40;

/// What a thread, or whoever synchronises with an object, has seen of each thread.
class VectorClock {
public:
    uint64_t operator[](size_t thread) const { return times[thread]; }
    uint64_t& operator[](size_t thread) { return times[thread]; }

    void join(VectorClock const& other)
    {
        for (size_t i = 0; i < times.size(); ++i) {
            times[i] = std::max(times[i], other.times[i]);
        }
    }

    void fill(uint64_t time) { times.fill(time); }

private:
    std::array<uint64_t, maxThreads> times{};
};

} // namespace simulation

#endif
