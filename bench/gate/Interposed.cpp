#include "bench/gate/Interposed.h"

#include <dlfcn.h>
#include <pthread.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <atomic>

namespace {

std::atomic<uint64_t> allocationCount{0};
std::atomic<uint64_t> waitCount{0};
std::atomic<bool> holding{false};
std::atomic<bool> held{false};

template <typename Function> Function* next(char const* name)
{
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

using Write = ssize_t(int, void const*, size_t);
using TimedWait = int(pthread_cond_t*, pthread_mutex_t*, timespec const*);
Write* const realWrite = next<Write>("write");
TimedWait* const realTimedWait = next<TimedWait>("pthread_cond_timedwait");

} // namespace

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

extern "C" {

void* __libc_malloc(size_t size);
void* __libc_calloc(size_t number, size_t size);
void* __libc_realloc(void* block, size_t size);

void* malloc(size_t size)
{
    allocationCount.fetch_add(1, std::memory_order_relaxed);
    return __libc_malloc(size);
}

void* calloc(size_t number, size_t size)
{
    allocationCount.fetch_add(1, std::memory_order_relaxed);
    return __libc_calloc(number, size);
}

void* realloc(void* block, size_t size)
{
    allocationCount.fetch_add(1, std::memory_order_relaxed);
    return __libc_realloc(block, size);
}

ssize_t write(int fd, void const* bytes, size_t size)
{
    while (holding) {
        held = true;
        interposed::pause();
    }
    return realWrite(fd, bytes, size);
}

/// No system call here: a thread that has said that it waits must not be interrupted before it does.
int pthread_cond_timedwait(pthread_cond_t* condition, pthread_mutex_t* mutex, timespec const* deadline)
{
    waitCount.fetch_add(1, std::memory_order_release);
    return realTimedWait(condition, mutex, deadline);
}
}
