/// @file
/// The wall clock as a test wants it: the program's symbols take precedence over the C library's.
#ifndef ZELO_TESTS_CLOCK_H
#define ZELO_TESTS_CLOCK_H

#include <cstdint>

namespace wallclock {

/// Moves the whole world, what deadlines are compared with included: the process was started at another time.
void moveWorld(int64_t seconds);

/// Moves the clock between the reading and the wait that uses it: what a step during the wait looks like. Positive is a
/// step back, which leaves the deadline in the far future.
void stepDuringWaits(int64_t seconds);

/// Steps to and fro, another way at each reading.
void stepToAndFro(int64_t seconds);

/// @return how often the clock was read; a test that reads 0 has tested nothing
unsigned long readings();

int64_t realSeconds();

} // namespace wallclock

#endif
