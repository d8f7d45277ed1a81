#include "tests/faults/Faults.h"

#include <errno.h>
#include <time.h>

#include <atomic>

#include "testkit/Allocations.h"
#include "testkit/Interpose.h"
#include "testkit/Malloc.h"

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

int failed()
{
    errno = current.error;
    return -1;
}

// A transfer may also be cut to one byte.

ssize_t receive(int fd, void* buffer, size_t size, int flags)
{
    bool const hit = strikes(Call::Recv);
    return hit && current.error != 0 ? failed() : interpose::recv.real(fd, buffer, hit ? 1 : size, flags);
}

/// A write that fails for good is that of a link that has gone, which the receiving side is to notice.
ssize_t send(int fd, void const* bytes, size_t size)
{
    bool const hit = strikes(Call::Write);
    if (hit && current.error != 0) {
        if (current.error != EINTR && current.error != EAGAIN) {
            interpose::shutdown.real(fd, SHUT_RDWR);
        }
        return failed();
    }
    return interpose::write.real(fd, bytes, hit ? 1 : size);
}

/// Shortens the time-outs, which every stop waits for.
int setOption(int fd, int level, int option, void const* value, socklen_t size)
{
    timeval const shorter = {0, 10000};
    return interpose::setsockopt.real(fd, level, option, isWatched() ? &shorter : value, size);
}

/// A close that fails has closed all the same.
int closeAndFail(int fd)
{
    int const result = interpose::close.real(fd);
    return strikes(Call::Close) ? failed() : result;
}

/// The back-off and the polling of a start, shortened.
int sleepShorter(useconds_t duration)
{
    timespec const pause = {0, isWatched() ? 1000000L : static_cast<long>(duration % 1000000) * 1000};
    return nanosleep(&pause, nullptr);
}

/// @return the call that fails where its fault strikes
template <typename... Arguments>
std::function<int(Arguments...)> failing(Call kind, interpose::Call<int(Arguments...)>& call)
{
    return [kind, &call](Arguments... arguments) { return strikes(kind) ? failed() : call.real(arguments...); };
}

using interpose::Takeover;
using interpose::Threads;

struct Takeovers {
    Takeover<int(int, int, int)> socket{interpose::socket, failing(Call::Socket, interpose::socket), Threads::All};
    Takeover<int(int, int, void*)> fcntl{interpose::fcntl, failing(Call::Fcntl, interpose::fcntl), Threads::All};
    Takeover<int(int, int, int, void const*, socklen_t)> setsockopt{
        interpose::setsockopt,
        [](int fd, int level, int option, void const* value, socklen_t size) {
            return strikes(Call::Setsockopt) ? failed() : setOption(fd, level, option, value, size);
        },
        Threads::All};
    Takeover<int(int, sockaddr const*, socklen_t)> connect{interpose::connect,
                                                           failing(Call::Connect, interpose::connect), Threads::All};
    Takeover<ssize_t(int, void*, size_t, int)> recv{interpose::recv, &receive, Threads::All};
    Takeover<ssize_t(int, void const*, size_t)> write{interpose::write, &send, Threads::All};
    Takeover<int(int)> close{interpose::close, &closeAndFail, Threads::All};
    Takeover<int(pthread_t*, pthread_attr_t const*, void* (*)(void*), void*)> create{
        interpose::pthread_create,
        [](pthread_t* thread, pthread_attr_t const* attributes, void* (*routine)(void*), void* argument) {
            return strikes(Call::ThreadCreate) ? current.error
                                               : interpose::pthread_create.real(thread, attributes, routine, argument);
        },
        Threads::All};
    Takeover<int(useconds_t)> usleep{interpose::usleep, &sleepShorter, Threads::All};
};

allocations::Observer const allocationObserver = {[](size_t) { return strikes(Call::New); }, [](size_t) { ++blocks; },
                                                  [](size_t) { --blocks; }};
mallocs::Observer const mallocObserver = {[] { return strikes(Call::Malloc); }, nullptr, nullptr};

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

void prepare()
{
    exempt = true;
    new Takeovers; // for the rest of the process
    allocations::observe(&allocationObserver);
    mallocs::observe(&mallocObserver);
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
