/// @file
/// Timed waits on conditions.
#ifndef ZELO_COMMON_TIMEDWAIT_H
#define ZELO_COMMON_TIMEDWAIT_H

#include <stdint.h>
#include <sys/time.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <limits>

#include "inc/private/pthread_helper.h"
#include "inc/private/thread_annotations.h"

/// @param ms        milliseconds from now
/// @param deadline  receives that time on the real-time clock
/// @return false if there is none: seconds of 32 bits end in January 2038, and from then on a C library either fails or
///         tells a time from before 1970
inline bool realTimeIn(unsigned ms, timespec& deadline)
{
    timeval now;
    if (gettimeofday(&now, nullptr) != 0 || now.tv_sec < 0) {
        return false;
    }
    long const microseconds = static_cast<long>(now.tv_usec) + static_cast<long>(ms % 1000) * 1000;
    int64_t const seconds = int64_t{now.tv_sec} + ms / 1000 + microseconds / 1000000;
    if (seconds > std::numeric_limits<time_t>::max()) {
        return false;
    }
    deadline.tv_sec = static_cast<time_t>(seconds);
    deadline.tv_nsec = microseconds % 1000000 * 1000;
    return true;
}

/// Waits until a signal, a spurious wake-up or the end of the time.
///
/// Without a clock to make a deadline of, a short sleep without the lock takes the wait's place: the caller looks
/// again, a little later than with a signal, and at rest twenty times a second.
inline void waitUpTo(pthread_helper::cond& condition, pthread_helper::mutex& heldMutex, unsigned ms) REQUIRES(heldMutex)
{
    timespec deadline;
    if (realTimeIn(ms, deadline)) {
        condition.timedWait(heldMutex, deadline);
        return;
    }
    unsigned const sleepMs = 50;
    heldMutex.unlock();
    usleep(std::min(ms, sleepMs) * 1000);
    heldMutex.lock();
}

#endif
