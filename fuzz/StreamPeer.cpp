#include "fuzz/StreamPeer.h"

#include <errno.h>
#include <semaphore.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>

#include "src/ipc/IPCFrame.h"
#include "testkit/Interpose.h"

namespace {

std::atomic<int> clientEnd{-1}; ///< until the client has taken it
std::atomic<int> connected{-1};
std::atomic<size_t> chunkLimit{0};
int peerEnd = -1;
sem_t returned;
std::vector<char> unparsed; ///< written by the client; one sender at a time

size_t limited(size_t size)
{
    return chunkLimit != 0 ? std::min<size_t>(size, chunkLimit) : size;
}

/// Everything that the client writes must be whole frames, of which the last may be cut short by the end.
void checkFrames()
{
    IPCFrameHeader header;
    while (unparsed.size() >= IPCFrameHeader::Size) {
        if (!readFrameHeader(unparsed.data(), header) || header.length > 64) {
            __builtin_trap();
        }
        size_t const whole = IPCFrameHeader::Size + header.length;
        if (unparsed.size() < whole) {
            return;
        }
        unparsed.erase(unparsed.begin(), unparsed.begin() + static_cast<ptrdiff_t>(whole));
    }
}

int takeSocket(int, int, int)
{
    int const fd = clientEnd.exchange(-1);
    if (fd < 0) {
        errno = EMFILE;
        sem_post(&returned);
    }
    return fd;
}

ssize_t receive(int fd, void* buffer, size_t size, int flags)
{
    return interpose::recv.real(fd, buffer, limited(size), flags);
}

ssize_t send(int fd, void const* bytes, size_t size)
{
    if (fd != connected) {
        return interpose::write.real(fd, bytes, size);
    }
    size_t const count = limited(size);
    char const* const begin = static_cast<char const*>(bytes);
    unparsed.insert(unparsed.end(), begin, begin + count);
    checkFrames();
    return static_cast<ssize_t>(count);
}

/// The back-off after the one connection, and nothing else in here sleeps.
int sleepShortly(useconds_t)
{
    timespec const pause = {0, 20000};
    return nanosleep(&pause, nullptr);
}

using interpose::Takeover;
using interpose::Threads;

/// For all inputs: the calls of the library end up here.
struct Takeovers {
    Takeover<int(int, int, int)> socket{interpose::socket, &takeSocket, Threads::All};
    Takeover<int(int, sockaddr const*, socklen_t)> connect{
        interpose::connect, [](int, sockaddr const*, socklen_t) { return 0; }, Threads::All};
    Takeover<ssize_t(int, void*, size_t, int)> recv{interpose::recv, &receive, Threads::All};
    Takeover<ssize_t(int, void const*, size_t)> write{interpose::write, &send, Threads::All};
    Takeover<int(useconds_t)> usleep{interpose::usleep, &sleepShortly, Threads::All};
};

} // namespace

StreamPeer::StreamPeer(std::vector<char> const& bytes, size_t chunk)
{
    static Takeovers const& takeovers = *new Takeovers;
    static_cast<void>(takeovers);
    unparsed.clear();
    unparsed.reserve(4096);
    sem_init(&returned, 0, 0);
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) {
        abort();
    }
    peerEnd = ends[0];
    if (::send(peerEnd, bytes.data(), bytes.size(), MSG_DONTWAIT) != static_cast<ssize_t>(bytes.size())) {
        abort();
    }
    shutdown(peerEnd, SHUT_WR);
    chunkLimit = chunk;
    connected = ends[1];
    clientEnd = ends[1];
}

StreamPeer::~StreamPeer()
{
    close(peerEnd);
    int const unused = clientEnd.exchange(-1);
    if (unused >= 0) {
        close(unused);
    }
    sem_destroy(&returned);
}

void StreamPeer::waitForReturn()
{
    while (sem_wait(&returned) != 0) {
    }
}
