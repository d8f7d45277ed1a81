/// @file
/// A count of allocations, and a hold of the library's sender where nothing is left to chance.
#ifndef ZELO_BENCH_INTERPOSED_H
#define ZELO_BENCH_INTERPOSED_H

#include <cstdint>

namespace interposed {

/// To be called first.
void takeOver();

/// @return allocations of the whole process so far
uint64_t allocations();

/// @return how often any thread has begun to wait on a condition with a deadline
uint64_t timedWaits();

/// Keeps threads that write to a socket from here on, and returns when one is kept. @p provoke makes it write.
void holdWriter(void (*provoke)());
void releaseWriter();

/// Waits in small steps until @p done. Its instructions are not counted as the library's,
/// which is why it is a wait of its own.
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
