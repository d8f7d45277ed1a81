/// @file
/// Deadlines of timed waits.
#ifndef ZELO_COMMON_REALTIME_H
#define ZELO_COMMON_REALTIME_H

#include <stdint.h>
#include <sys/time.h>
#include <time.h>

/// @param ms  milliseconds from now
/// @return that time on the real-time clock
inline timespec realTimeIn(unsigned ms)
{
    timeval now;
    gettimeofday(&now, nullptr);
    int64_t const total = now.tv_usec + int64_t{now.tv_sec} * 1000000 + int64_t{ms} * 1000;
    timespec deadline;
    deadline.tv_sec = static_cast<time_t>(total / 1000000);
    deadline.tv_nsec = static_cast<long>(total % 1000000) * 1000;
    return deadline;
}

#endif
