#include "tests/time/Clock.h"

#include <dlfcn.h>
#include <pthread.h>
#include <sys/time.h>
#include <time.h>

#include <atomic>

namespace wallclock {

namespace {

std::atomic<int64_t> world{0};
std::atomic<int64_t> step{0};
std::atomic<int64_t> toAndFro{0};
std::atomic<unsigned long> count{0};

} // namespace

void moveWorld(int64_t seconds)
{
    world = seconds;
}

void stepDuringWaits(int64_t seconds)
{
    step = seconds;
}

void stepToAndFro(int64_t seconds)
{
    toAndFro = seconds;
}

unsigned long readings()
{
    return count;
}

int64_t realSeconds()
{
    timespec now;
    clock_gettime(CLOCK_REALTIME, &now);
    return now.tv_sec;
}

} // namespace wallclock

extern "C" {

int gettimeofday(timeval* now, void*) noexcept
{
    unsigned long const number = ++wallclock::count;
    timespec precise;
    clock_gettime(CLOCK_REALTIME, &precise);
    int64_t const swing = number % 2 == 0 ? wallclock::toAndFro.load() : -wallclock::toAndFro.load();
    now->tv_sec = static_cast<time_t>(precise.tv_sec + wallclock::world + wallclock::step + swing);
    now->tv_usec = static_cast<suseconds_t>(precise.tv_nsec / 1000);
    return 0;
}

int pthread_cond_timedwait(pthread_cond_t* condition, pthread_mutex_t* mutex, timespec const* deadline)
{
    typedef int (*Wait)(pthread_cond_t*, pthread_mutex_t*, timespec const*);
    static Wait const real = reinterpret_cast<Wait>(dlsym(RTLD_NEXT, "pthread_cond_timedwait"));
    timespec moved = *deadline;
    moved.tv_sec -= static_cast<time_t>(wallclock::world);
    return real(condition, mutex, &moved);
}
}
