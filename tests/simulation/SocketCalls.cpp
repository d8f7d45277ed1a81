// The library's system calls on descriptors.
#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <stdarg.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <utility>

#include "tests/simulation/Child.h"
#include "tests/simulation/Memory.h"
#include "tests/simulation/Trace.h"
#include "tests/simulation/World.h"

namespace {

using namespace simulation;

#define PLACE reinterpret_cast<uintptr_t>(__builtin_return_address(0))

int failed(char const* call, int number, int error)
{
    TRACE("%s(%d) fails: %s", call, number, strerrorname_np(error));
    self().error = error;
    return -1;
}

/// @return the error with which the call is to fail; 0: none
int injected(std::initializer_list<int> errors)
{
    if (!world().faults.strikes(Fault::Error)) {
        return 0;
    }
    world().conduct.callFailed();
    return *(errors.begin() + world().faults.choose(static_cast<uint32_t>(errors.size())));
}

/// A descriptor that a call of the library may name.
Descriptor* used(char const* call, int number)
{
    forbidInChild(std::string("a call of ") + call);
    world().scheduler.touchOutside();
    Descriptor* const descriptor = world().sockets.find(number);
    if (descriptor == nullptr && number >= 0) {
        fail("descriptor", std::string(call) + " of the closed descriptor " + std::to_string(number));
    }
    if (descriptor != nullptr && descriptor->kind == Descriptor::Kind::Host) {
        fail("descriptor", std::string(call) + " of the descriptor " + std::to_string(number) + " of the host");
    }
    return descriptor;
}

/// Waits for a change of @p end; forgets the descriptor meanwhile, as the kernel does.
/// @return 0, EAGAIN after the time-out, EINTR
int waitFor(Endpoint& end, int number, int64_t timeout)
{
    Scheduler& scheduler = world().scheduler;
    if (end.nonBlocking) {
        return EAGAIN;
    }
    int64_t deadline = timeout == 0 ? never : scheduler.now() + timeout;
    bool interrupted = false;
    if (world().faults.strikes(Fault::Signal)) {
        int64_t const arrival = scheduler.now() + 1 + world().faults.choose(100000);
        interrupted = arrival < deadline;
        deadline = std::min(deadline, arrival);
    }
    Descriptor* const descriptor = world().sockets.find(number);
    ++descriptor->users;
    bool const inTime = scheduler.block(&end, deadline);
    scheduler.touchOutside();
    Descriptor* const after = world().sockets.find(number);
    if (after != nullptr && after->socket.get() == &end) {
        --after->users;
    }
    return inTime ? 0 : interrupted ? EINTR : EAGAIN;
}

/// Part of what could be done at once.
size_t partOf(size_t whole)
{
    return whole > 1 && world().faults.strikes(Fault::Partial)
               ? 1 + world().faults.choose(static_cast<uint32_t>(std::min<size_t>(whole - 1, 60000)))
               : whole;
}

ssize_t receive(int number, void* bytes, size_t size, bool atOnce, uintptr_t place)
{
    world().scheduler.step();
    Descriptor* const descriptor = used("recv", number);
    if (descriptor == nullptr) {
        return failed("recv", number, EBADF);
    }
    std::shared_ptr<Endpoint> const end = descriptor->socket;
    if (!end->isConnected()) {
        return failed("recv", number, ENOTCONN);
    }
    if (int const error =
            injected({ENOMEM, ECONNRESET, EINTR, EAGAIN, EBADF, ECONNREFUSED, EFAULT, EINVAL, ENOTCONN, ENOTSOCK})) {
        return failed("recv", number, error);
    }
    while (end->in.size() == 0) {
        if (end->error != 0) {
            return failed("recv", number, std::exchange(end->error, 0));
        }
        if (end->atEnd()) {
            TRACE("recv(%d) = 0", number);
            return 0;
        }
        TRACE("recv(%d) waits", number);
        if (int const error = atOnce ? EAGAIN : waitFor(*end, number, end->receiveTimeout)) {
            return failed("recv", number, error);
        }
    }
    size_t const count = partOf(std::min(size, end->in.size()));
    memory().check(reinterpret_cast<uintptr_t>(bytes), count, Access{true, false, place}, self());
    end->in.take(static_cast<char*>(bytes), count);
    world().conduct.libraryRead(static_cast<char const*>(bytes), count);
    world().scheduler.wake(end->peer.get());
    TRACE("recv(%d, %zu) = %zu", number, size, count);
    return static_cast<ssize_t>(count);
}

int brokenPipe(int number, int flags)
{
    if (!self().sigPipeBlocked && (flags & MSG_NOSIGNAL) == 0) {
        fail("SIGPIPE", "a write on " + self().name + " would kill the process");
    }
    return failed("write", number, EPIPE);
}

ssize_t transmit(int number, void const* bytes, size_t size, int flags, uintptr_t place)
{
    world().scheduler.step();
    Descriptor* const descriptor = used("write", number);
    if (descriptor == nullptr) {
        return failed("write", number, EBADF);
    }
    std::shared_ptr<Endpoint> const end = descriptor->socket;
    if (!end->isConnected()) {
        return failed("write", number, ENOTCONN);
    }
    if (int const error = injected({ENOBUFS, ENOMEM, EINTR, EAGAIN, EPIPE, EBADF, EDESTADDRREQ, EDQUOT, EFAULT, EFBIG,
                                    EINVAL, EIO, ENOSPC, EPERM})) {
        return failed("write", number, error);
    }
    memory().check(reinterpret_cast<uintptr_t>(bytes), size, Access{false, false, place}, self());
    size_t const wanted = partOf(size);
    size_t done = 0;
    while (done < wanted) {
        if (end->writeEnded || end->peer->closed) {
            return done != 0 ? static_cast<ssize_t>(done) : brokenPipe(number, flags);
        }
        size_t const part = std::min(wanted - done, end->room());
        if (part == 0) {
            TRACE("write(%d) waits", number);
            int const error = (flags & MSG_DONTWAIT) != 0 ? EAGAIN : waitFor(*end, number, end->sendTimeout);
            if (error != 0) {
                TRACE("write(%d, %zu) stops after %zu", number, size, done);
                return done != 0 ? static_cast<ssize_t>(done) : failed("write", number, error);
            }
            continue;
        }
        end->peer->in.put(static_cast<char const*>(bytes) + done, part);
        world().conduct.libraryWrote(*end, static_cast<char const*>(bytes) + done, part);
        done += part;
        world().scheduler.wake(end->peer.get());
    }
    TRACE("write(%d, %zu) = %zu", number, size, done);
    return static_cast<ssize_t>(done);
}

int connectTo(int number, std::shared_ptr<Endpoint> const& end)
{
    Listener& listener = world().sockets.listener;
    for (;;) {
        if (listener.file != Listener::File::Listening) {
            return failed("connect", number, listener.file == Listener::File::Missing ? ENOENT : ECONNREFUSED);
        }
        if (listener.pending.size() < listener.backlog) {
            break;
        }
        TRACE("connect(%d) waits", number);
        // A change of the listener wakes the endpoints that wait for it.
        int64_t const deadline = end->sendTimeout == 0 ? never : world().scheduler.now() + end->sendTimeout;
        bool const inTime = !end->nonBlocking && world().scheduler.block(&listener, deadline);
        world().scheduler.touchOutside();
        if (!inTime) {
            return failed("connect", number, EAGAIN);
        }
    }
    std::shared_ptr<Endpoint> const other = world().sockets.makeEndpoint();
    other->isMiddlewares = true;
    other->peer = end;
    other->capacity = listener.capacity;
    end->peer = other;
    end->capacity = listener.capacity;
    end->connection = other->connection = world().sockets.nextConnection++;
    listener.pending.push_back(other);
    world().conduct.connected(*end);
    world().scheduler.wake(&listener);
    TRACE("connect(%d) = 0, connection %d", number, end->connection);
    return 0;
}

} // namespace

extern "C" {

int simulated_socket(int domain, int type, int)
{
    Outside const outside(PLACE);
    world().scheduler.minorStep();
    forbidInChild("a call of socket");
    world().scheduler.touchOutside();
    if (int const error = injected({EMFILE, ENFILE, ENOBUFS, ENOMEM, EACCES, EAFNOSUPPORT, EINVAL, EPROTONOSUPPORT})) {
        return failed("socket", domain, error);
    }
    Descriptor descriptor;
    descriptor.kind = Descriptor::Kind::Socket;
    descriptor.socket = world().sockets.makeEndpoint();
    descriptor.socket->nonBlocking = (type & SOCK_NONBLOCK) != 0;
    descriptor.closeOnExec = (type & SOCK_CLOEXEC) != 0;
    int const number = world().sockets.open(descriptor);
    TRACE("socket() = %d", number);
    return number;
}

int simulated_connect(int number, sockaddr const* address, socklen_t length)
{
    Outside const outside(PLACE);
    world().scheduler.step();
    Descriptor* const descriptor = used("connect", number);
    world().conduct.connecting();
    if (descriptor == nullptr) {
        return failed("connect", number, EBADF);
    }
    static char const path[] = "/tmp/zelo_messenger";
    if (length != sizeof(sa_family_t) + sizeof path - 1 ||
        memcmp(reinterpret_cast<sockaddr_un const*>(address)->sun_path, path, sizeof path - 1) != 0) {
        fail("conversation", "connect to another address");
    }
    if (number <= STDERR_FILENO) {
        fail("descriptor", "the library's socket is " + std::to_string(number));
    }
    if (int const error =
            injected({EINTR, ECONNREFUSED, ENOENT, EACCES, EAGAIN, EPERM, EADDRINUSE, EADDRNOTAVAIL, EAFNOSUPPORT,
                      EALREADY, EBADF, EFAULT, EINPROGRESS, EISCONN, ENETUNREACH, ENOTSOCK, EPROTOTYPE, ETIMEDOUT})) {
        return failed("connect", number, error);
    }
    std::shared_ptr<Endpoint> const end = descriptor->socket;
    return end->isConnected() ? failed("connect", number, EISCONN) : connectTo(number, end);
}

ssize_t simulated_recv(int number, void* bytes, size_t size, int flags)
{
    Outside const outside(PLACE);
    return receive(number, bytes, size, (flags & MSG_DONTWAIT) != 0, PLACE);
}

ssize_t simulated_read(int number, void* bytes, size_t size)
{
    Outside const outside(PLACE);
    return receive(number, bytes, size, false, PLACE);
}

ssize_t simulated_write(int number, void const* bytes, size_t size)
{
    Outside const outside(PLACE);
    return transmit(number, bytes, size, 0, PLACE);
}

ssize_t simulated_send(int number, void const* bytes, size_t size, int flags)
{
    Outside const outside(PLACE);
    return transmit(number, bytes, size, flags, PLACE);
}

int simulated_shutdown(int number, int how)
{
    Outside const outside(PLACE);
    world().scheduler.step();
    Descriptor* const descriptor = used("shutdown", number);
    if (descriptor == nullptr) {
        return failed("shutdown", number, EBADF);
    }
    Endpoint& end = *descriptor->socket;
    if (!end.isConnected()) {
        return failed("shutdown", number, ENOTCONN);
    }
    TRACE("shutdown(%d, %d)", number, how);
    if (how != SHUT_RD) {
        world().conduct.libraryEnds(end);
    }
    Sockets::shutDown(end, how != SHUT_WR, how != SHUT_RD);
    return 0;
}

int simulated_close(int number)
{
    Outside const outside(PLACE);
    world().scheduler.step();
    Descriptor* const descriptor = used("close", number);
    if (descriptor == nullptr) {
        return failed("close", number, EBADF);
    }
    if (descriptor->users != 0) {
        fail("descriptor", "closed while another thread is in a call on it: " + std::to_string(number));
    }
    TRACE("close(%d)", number);
    if (descriptor->socket && descriptor->socket->isConnected()) {
        world().conduct.libraryEnds(*descriptor->socket);
        world().conduct.libraryClosed(*descriptor->socket);
    }
    world().sockets.close(number);
    // One that fails has closed all the same.
    int const error = injected({EIO, EBADF, EINTR, ENOSPC, EDQUOT});
    return error == 0 ? 0 : failed("close", number, error);
}

int simulated_fcntl(int number, int command, ...)
{
    Outside const outside(PLACE);
    world().scheduler.minorStep();
    va_list arguments;
    va_start(arguments, command);
    long const argument = va_arg(arguments, long);
    va_end(arguments);
    Descriptor* const descriptor = used("fcntl", number);
    if (descriptor == nullptr) {
        return failed("fcntl", number, EBADF);
    }
    if (int const error = injected({EMFILE, EINVAL, EBADF})) {
        return failed("fcntl", number, error);
    }
    switch (command) {
    case F_SETFD:
        descriptor->closeOnExec = (argument & FD_CLOEXEC) != 0;
        return 0;
    case F_DUPFD:
    case F_DUPFD_CLOEXEC: {
        Descriptor copy = *descriptor;
        copy.closeOnExec = command == F_DUPFD_CLOEXEC;
        return world().sockets.open(copy, static_cast<int>(argument));
    }
    case F_GETFL:
        return O_RDWR | (descriptor->socket->nonBlocking ? O_NONBLOCK : 0);
    case F_SETFL:
        descriptor->socket->nonBlocking = (argument & O_NONBLOCK) != 0;
        return 0;
    default:
        fail("simulation", "fcntl " + std::to_string(command) + " is not simulated");
    }
}

int simulated_setsockopt(int number, int, int option, void const* value, socklen_t)
{
    Outside const outside(PLACE);
    world().scheduler.minorStep();
    Descriptor* const descriptor = used("setsockopt", number);
    if (descriptor == nullptr) {
        return failed("setsockopt", number, EBADF);
    }
    if (int const error = injected({ENOMEM, EDOM, EBADF, EFAULT, EINVAL, ENOPROTOOPT, ENOTSOCK})) {
        return failed("setsockopt", number, error);
    }
    timeval timeout;
    memcpy(&timeout, value, sizeof timeout);
    int64_t const duration = int64_t{timeout.tv_sec} * 1000000 + timeout.tv_usec;
    (option == SO_RCVTIMEO ? descriptor->socket->receiveTimeout : descriptor->socket->sendTimeout) = duration;
    return 0;
}

/// There are no files.
int simulated_open(char const*, int, ...)
{
    Outside const outside(PLACE);
    return failed("open", -1, ENOENT);
}

int simulated_fstat(int number, struct stat*)
{
    Outside const outside(PLACE);
    return failed("fstat", number, EBADF);
}
}
