/// @file
/// Calls of the C library that the program takes over: allocations are counted, and the library's sender can be held
/// where nothing is left to chance.
#ifndef ZELO_BENCH_INTERPOSED_H
#define ZELO_BENCH_INTERPOSED_H

#include <cstdint>

namespace interposed {

/// @return allocations of the whole process so far
uint64_t allocations();

/// @return how often any thread has begun to wait on a condition with a deadline
uint64_t timedWaits();

/// Keeps threads that write to a socket from here on, and returns when one is kept. @p provoke makes it write.
void holdWriter(void (*provoke)());
void releaseWriter();

/// Waits in small steps until @p done. The waiting is not counted as anybody's instructions.
template <typename Condition> void waitUntil(Condition done);

void pause();

} // namespace interposed

template <typename Condition> void interposed::waitUntil(Condition done)
{
    while (!done()) {
        pause();
    }
}

#endif
