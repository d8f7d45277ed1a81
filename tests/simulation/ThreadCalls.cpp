// The library's calls about threads, time and the process.
#include <errno.h>
#include <pthread.h>
#include <signal.h>
#include <string.h>
#include <sys/sysinfo.h>
#include <sys/time.h>
#include <time.h>
#include <unistd.h>

#include "tests/simulation/Memory.h"
#include "tests/simulation/Trace.h"
#include "tests/simulation/World.h"

namespace {

using namespace simulation;

#define PLACE reinterpret_cast<uintptr_t>(__builtin_return_address(0))

Fiber* fiberOf(pthread_t identity)
{
    for (Fiber& fiber : world().scheduler.all()) {
        if (fiber.state != Fiber::State::Unused && static_cast<pthread_t>(fiber.identity) == identity) {
            return &fiber;
        }
    }
    return nullptr;
}

/// @return false if a signal has interrupted the sleep
bool sleepFor(int64_t duration, uintptr_t place)
{
    Outside const outside(place);
    Scheduler& scheduler = world().scheduler;
    scheduler.step();
    bool const interrupted = world().faults.strikes(Fault::Signal);
    if (interrupted) {
        duration = duration * world().faults.choose(100) / 100;
    }
    TRACE("sleeps %lld us", static_cast<long long>(duration));
    world().conduct.sleptInCall(self());
    scheduler.sleepUntil(scheduler.now() + duration);
    return !interrupted;
}

int64_t timeOf(clockid_t clockId)
{
    world().scheduler.observe(static_cast<uint64_t>(world().scheduler.now()));
    return clockId == CLOCK_REALTIME ? world().scheduler.wallClock() : world().scheduler.now();
}

} // namespace

extern "C" {

int simulated_pthread_create(pthread_t* handle, pthread_attr_t const*, void* (*routine)(void*), void* argument)
{
    Outside const outside(PLACE);
    world().scheduler.minorStep();
    Fiber& fiber = world().scheduler.spawn(Role::Library, "thread", [routine, argument] {
        TRACE("begins");
        {
            Inside const inside;
            routine(argument);
        }
        TRACE("ends");
    });
    *handle = static_cast<pthread_t>(fiber.identity);
    TRACE("creates thread %d", fiber.identity);
    return 0;
}

int simulated_pthread_join(pthread_t identity, void** result)
{
    Outside const outside(PLACE);
    world().scheduler.minorStep();
    Fiber* const fiber = fiberOf(identity);
    if (fiber == nullptr || fiber->joined) {
        fail("threads", "a thread is joined that does not exist");
    }
    if (fiber == &self()) {
        return EDEADLK;
    }
    TRACE("joins %s", fiber->name.c_str());
    while (fiber->state != Fiber::State::Ended) {
        world().scheduler.block(fiber, never);
    }
    fiber->joined = true;
    world().scheduler.observe(*fiber);
    world().scheduler.acquire(fiber->clock);
    if (result != nullptr) {
        *result = nullptr;
    }
    return 0;
}

int simulated_pthread_detach(pthread_t identity)
{
    Fiber* const fiber = fiberOf(identity);
    if (fiber != nullptr) {
        fiber->joined = true;
    }
    return 0;
}

pthread_t simulated_pthread_self()
{
    return static_cast<pthread_t>(self().identity);
}

int simulated_pthread_setname_np(pthread_t identity, char const* name)
{
    Outside const outside(PLACE);
    if (Fiber* const fiber = fiberOf(identity)) {
        fiber->name = name;
    }
    return 0;
}

int simulated_pthread_sigmask(int how, sigset_t const* set, sigset_t* old)
{
    if (old != nullptr) {
        sigemptyset(old);
        if (self().sigPipeBlocked) {
            sigaddset(old, SIGPIPE);
        }
    }
    if (set != nullptr && sigismember(set, SIGPIPE) == 1) {
        self().sigPipeBlocked = how != SIG_UNBLOCK;
    }
    return 0;
}

int* simulated___errno_location()
{
    return &self().error;
}

int simulated_usleep(useconds_t duration)
{
    if (!sleepFor(duration, PLACE)) {
        self().error = EINTR;
        return -1;
    }
    return 0;
}

int simulated_nanosleep(timespec const* duration, timespec* left)
{
    int64_t const total = int64_t{duration->tv_sec} * 1000000 + duration->tv_nsec / 1000;
    int64_t const begin = world().scheduler.now();
    if (sleepFor(total, PLACE)) {
        return 0;
    }
    if (left != nullptr) {
        int64_t const rest = std::max<int64_t>(0, total - (world().scheduler.now() - begin));
        *left = {static_cast<time_t>(rest / 1000000), static_cast<long>(rest % 1000000 * 1000)};
    }
    self().error = EINTR;
    return -1;
}

int simulated_sched_yield()
{
    sleepFor(1, PLACE);
    return 0;
}

int simulated_gettimeofday(timeval* now, void*)
{
    int64_t const time = timeOf(CLOCK_REALTIME);
    *now = {static_cast<time_t>(time / 1000000), static_cast<suseconds_t>(time % 1000000)};
    return 0;
}

int simulated_clock_gettime(clockid_t clockId, timespec* now)
{
    int64_t const time = timeOf(clockId);
    *now = {static_cast<time_t>(time / 1000000), static_cast<long>(time % 1000000 * 1000)};
    return 0;
}

/// std::chrono::steady_clock::now() and the wall clock's.
int64_t simulated__ZNSt6chrono3_V212steady_clock3nowEv()
{
    return timeOf(CLOCK_MONOTONIC) * 1000;
}

int64_t simulated__ZNSt6chrono3_V212system_clock3nowEv()
{
    return timeOf(CLOCK_REALTIME) * 1000;
}

time_t simulated_time(time_t* now)
{
    time_t const time = static_cast<time_t>(timeOf(CLOCK_REALTIME) / 1000000);
    if (now != nullptr) {
        *now = time;
    }
    return time;
}

pid_t simulated_getpid()
{
    Outside const outside(PLACE);
    world().scheduler.minorStep();
    return world().process;
}

long simulated_syscall(long, ...)
{
    return self().identity;
}

int simulated_setpriority(int, unsigned, int)
{
    return 0;
}

int simulated_sysinfo(struct sysinfo* info)
{
    info->totalram = 512UL << 20;
    info->mem_unit = 1;
    return 0;
}

int simulated_system(char const*)
{
    return 0;
}

int simulated_kill(pid_t, int)
{
    Outside const outside(PLACE);
    fail("assertion", "the library kills its process after: " + world().conduct.lastReport());
}

void simulated_abort()
{
    Outside const outside(PLACE);
    fail("assertion", "the library aborts");
}

void simulated__exit(int)
{
    Outside const outside(PLACE);
    fail("assertion", "the library ends its process after: " + world().conduct.lastReport());
}
}
