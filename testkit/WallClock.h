/// @file
/// The wall clock as a test wants it.
#ifndef ZELO_TESTKIT_WALLCLOCK_H
#define ZELO_TESTKIT_WALLCLOCK_H

#include <stdint.h>

#include <atomic>

#include "testkit/Interpose.h"

/// Takes the clock over for a scope in which it is read and waited on.
class WallClock {
public:
    /// Moves the whole world, what deadlines are compared with included: the process was started at another time.
    void moveWorld(int64_t seconds) { world = seconds; }

    /// Moves the clock between the reading and the wait that uses it: what a step during the wait looks like. Positive
    /// is a step back, which leaves the deadline in the far future.
    void stepDuringWaits(int64_t seconds) { step = seconds; }

    /// Steps to and fro, another way at each reading.
    void stepToAndFro(int64_t seconds) { toAndFro = seconds; }

    /// @return how often the clock was read
    unsigned readings() const { return reading.count(); }

    static int64_t realSeconds();

private:
    int read(timeval* now);
    int wait(pthread_cond_t* condition, pthread_mutex_t* mutex, timespec const* deadline) const;

    std::atomic<int64_t> world{0};
    std::atomic<int64_t> step{0};
    std::atomic<int64_t> toAndFro{0};
    interpose::Takeover<int(timeval*, void*)> reading{
        interpose::gettimeofday, [this](timeval* now, void*) { return read(now); }, interpose::Threads::All};
    interpose::Takeover<int(pthread_cond_t*, pthread_mutex_t*, timespec const*)> waiting{
        interpose::pthread_cond_timedwait,
        [this](pthread_cond_t* condition, pthread_mutex_t* mutex, timespec const* deadline) {
            return wait(condition, mutex, deadline);
        },
        interpose::Threads::All};
};

#endif
