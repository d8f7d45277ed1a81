#include "tests/faults/Faults.h"

#include <dlfcn.h>
#include <errno.h>
#include <pthread.h>
#include <stdarg.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <new>

namespace faults {

namespace {

std::atomic<bool> armed{false};
Fault current; // constant while armed
std::atomic<size_t> counts[static_cast<size_t>(Call::Count)];
std::atomic<bool> struck{false};
std::atomic<long> blocks{0};
thread_local bool exempt = false;

bool isWatched()
{
    return armed && !exempt;
}

template <typename Function> Function next(Function, char const* name)
{
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

// Looked up before main(): dlsym() allocates.
auto const realSocket = next(&::socket, "socket");
auto const realFcntl = next(static_cast<int (*)(int, int, ...)>(nullptr), "fcntl");
auto const realSetsockopt = next(&::setsockopt, "setsockopt");
auto const realConnect = next(&::connect, "connect");
auto const realRecv = next(&::recv, "recv");
auto const realWrite = next(&::write, "write");
auto const realClose = next(&::close, "close");
auto const realCreate = next(&::pthread_create, "pthread_create");

int failed()
{
    errno = current.error;
    return -1;
}

void* allocate(size_t size)
{
    if (strikes(Call::New)) {
        throw std::bad_alloc();
    }
    void* const block = malloc(size);
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    ++blocks;
    return block;
}

void release(void* block)
{
    blocks -= block != nullptr ? 1 : 0;
    free(block);
}

} // namespace

bool strikes(Call call)
{
    if (!armed || exempt) {
        return false;
    }
    size_t const number = ++counts[static_cast<size_t>(call)];
    bool const hit = call == current.call && number >= current.first && number < current.first + current.count;
    if (hit) {
        struck = true;
    }
    return hit;
}

void arm(Fault const& fault)
{
    current = fault;
    for (std::atomic<size_t>& count : counts) {
        count = 0;
    }
    struck = false;
    armed = true;
}

void disarm()
{
    armed = false;
}

size_t calls(Call call)
{
    return counts[static_cast<size_t>(call)];
}

bool hasStruck()
{
    return struck;
}

long blocksInUse()
{
    return blocks;
}

void exemptThisThread()
{
    exempt = true;
}

Watched::Watched()
{
    exempt = false;
}

Watched::~Watched()
{
    exempt = true;
}

} // namespace faults

using faults::Call;

void* operator new(size_t size)
{
    return faults::allocate(size);
}

void* operator new[](size_t size)
{
    return faults::allocate(size);
}

void operator delete(void* block) noexcept
{
    faults::release(block);
}

void operator delete[](void* block) noexcept
{
    faults::release(block);
}

void operator delete(void* block, size_t) noexcept
{
    faults::release(block);
}

void operator delete[](void* block, size_t) noexcept
{
    faults::release(block);
}

extern "C" {

int socket(int domain, int type, int protocol) noexcept
{
    return faults::strikes(Call::Socket) ? faults::failed() : faults::realSocket(domain, type, protocol);
}

int fcntl(int fd, int command, ...)
{
    va_list arguments;
    va_start(arguments, command);
    void* const argument = va_arg(arguments, void*);
    va_end(arguments);
    return faults::strikes(Call::Fcntl) ? faults::failed() : faults::realFcntl(fd, command, argument);
}

/// Also shortens the time-outs, which every stop waits for.
int setsockopt(int fd, int level, int option, void const* value, socklen_t size) noexcept
{
    if (faults::strikes(Call::Setsockopt)) {
        return faults::failed();
    }
    timeval const shorter = {0, 10000};
    return faults::realSetsockopt(fd, level, option, faults::isWatched() ? &shorter : value, size);
}

int connect(int fd, sockaddr const* address, socklen_t size)
{
    return faults::strikes(Call::Connect) ? faults::failed() : faults::realConnect(fd, address, size);
}

ssize_t recv(int fd, void* buffer, size_t size, int flags)
{
    if (!faults::strikes(Call::Recv)) {
        return faults::realRecv(fd, buffer, size, flags);
    }
    return faults::current.error != 0 ? faults::failed() : faults::realRecv(fd, buffer, 1, flags);
}

ssize_t write(int fd, void const* bytes, size_t size)
{
    if (!faults::strikes(Call::Write)) {
        return faults::realWrite(fd, bytes, size);
    }
    return faults::current.error != 0 ? faults::failed() : faults::realWrite(fd, bytes, 1);
}

/// A close that fails has closed all the same.
int close(int fd)
{
    int const result = faults::realClose(fd);
    return faults::strikes(Call::Close) ? faults::failed() : result;
}

int pthread_create(pthread_t* thread, pthread_attr_t const* attributes, void* (*routine)(void*),
                   void* argument) noexcept
{
    return faults::strikes(Call::ThreadCreate) ? faults::current.error
                                               : faults::realCreate(thread, attributes, routine, argument);
}

/// The back-off and the polling of a start, shortened.
int usleep(useconds_t duration)
{
    timespec const pause = {0, faults::isWatched() ? 1000000L : static_cast<long>(duration % 1000000) * 1000};
    return nanosleep(&pause, nullptr);
}
}
