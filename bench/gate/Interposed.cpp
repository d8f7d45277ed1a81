#include "bench/gate/Interposed.h"

#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <atomic>

#include "bench/weight/Malloc.h"
#include "testkit/Interpose.h"

namespace {

using interpose::Takeover;
using interpose::Threads;

std::atomic<uint64_t> allocationCount{0};
std::atomic<uint64_t> waitCount{0};
std::atomic<bool> holding{false};
std::atomic<bool> held{false};

void countAllocation(void*)
{
    allocationCount.fetch_add(1, std::memory_order_relaxed);
}

mallocs::Observer const observer = {&countAllocation, nullptr};

ssize_t writeUnlessHeld(int fd, void const* bytes, size_t size)
{
    while (holding) {
        held = true;
        interposed::pause();
    }
    return interpose::write.real(fd, bytes, size);
}

/// No system call here: a thread that has said that it waits must not be interrupted before it does.
int countWait(pthread_cond_t* condition, pthread_mutex_t* mutex, timespec const* deadline)
{
    waitCount.fetch_add(1, std::memory_order_release);
    return interpose::pthread_cond_timedwait.real(condition, mutex, deadline);
}

} // namespace

void interposed::takeOver()
{
    static Takeover<ssize_t(int, void const*, size_t)> const writing(interpose::write, &writeUnlessHeld, Threads::All);
    static Takeover<int(pthread_cond_t*, pthread_mutex_t*, timespec const*)> const waiting(
        interpose::pthread_cond_timedwait, &countWait, Threads::All);
    mallocs::observe(&observer);
}

uint64_t interposed::allocations()
{
    return allocationCount;
}

uint64_t interposed::timedWaits()
{
    return waitCount;
}

void interposed::holdWriter(void (*provoke)())
{
    held = false;
    holding = true;
    provoke();
    waitUntil([] { return held.load(); });
}

void interposed::releaseWriter()
{
    holding = false;
}

/// syscall() is nobody else's on the roads that are measured, so it can be told from what the library costs.
void interposed::pause()
{
    timespec const step = {0, 50000};
    syscall(SYS_nanosleep, &step, nullptr);
}
