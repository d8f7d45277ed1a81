#include "testkit/WallClock.h"

#include <time.h>

int64_t WallClock::realSeconds()
{
    timespec now;
    clock_gettime(CLOCK_REALTIME, &now);
    return now.tv_sec;
}

int WallClock::read(timeval* now)
{
    timespec precise;
    clock_gettime(CLOCK_REALTIME, &precise);
    int64_t const swing = readings() % 2 == 0 ? toAndFro.load() : -toAndFro.load();
    now->tv_sec = static_cast<time_t>(precise.tv_sec + world + step + swing);
    now->tv_usec = static_cast<suseconds_t>(precise.tv_nsec / 1000);
    return 0;
}

int WallClock::wait(pthread_cond_t* condition, pthread_mutex_t* mutex, timespec const* deadline) const
{
    timespec moved = *deadline;
    moved.tv_sec -= static_cast<time_t>(world);
    return interpose::pthread_cond_timedwait.real(condition, mutex, &moved);
}
