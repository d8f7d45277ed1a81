#include "zelobox/protocol/Peer.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "src/ipc/IPCFrame.h"

namespace zelobox {

char const defaultSocketPath[] = "/tmp/zelo_messenger";

namespace {

using Clock = std::chrono::steady_clock;

std::string errorText(std::string const& what)
{
    return what + ": " + std::strerror(errno);
}

/// Waits until @p fd is ready. @throw PeerTimeout
void waitFor(int fd, short events, Clock::time_point deadline, char const* what)
{
    for (;;) {
        auto const left = std::chrono::ceil<Milliseconds>(deadline - Clock::now()).count();
        pollfd entry = {fd, events, 0};
        int const ready = poll(&entry, 1, left > 0 ? static_cast<int>(left) : 0);
        if (ready > 0) {
            return;
        }
        if (ready == 0) {
            throw PeerTimeout(std::string("timed out while waiting for ") + what);
        }
        if (errno != EINTR) {
            throw PeerError(errorText("poll"));
        }
    }
}

sockaddr_un addressOf(std::string const& path)
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) {
        throw PeerError("socket path too long: " + path);
    }
    std::memcpy(address.sun_path, path.c_str(), path.size());
    return address;
}

bool somebodyListens(std::string const& path)
{
    return connectTo(path) || errno == EAGAIN;
}

} // namespace

Descriptor connectTo(std::string const& path)
{
    sockaddr_un const address = addressOf(path);
    Descriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (connect(socket.get(), reinterpret_cast<sockaddr const*>(&address), sizeof address) != 0) {
        int const error = errno;
        socket.reset();
        errno = error;
    }
    return socket;
}

Connection::Connection(Descriptor accepted) : socket(std::move(accepted)) {}

Frame Connection::receive(Milliseconds deadline)
{
    auto const end = Clock::now() + deadline;
    auto const left = [end] { return std::chrono::ceil<Milliseconds>(end - Clock::now()); };
    std::vector<char> const bytes = receiveBytes(IPCFrameHeader::Size, left());
    IPCFrameHeader header;
    if (!readFrameHeader(bytes.data(), header)) {
        throw PeerError("a frame began with a wrong sync byte");
    }
    return {header.kind, header.type, receiveBytes(header.length, left())};
}

std::vector<char> Connection::receiveBytes(size_t count, Milliseconds deadline)
{
    auto const end = Clock::now() + deadline;
    std::vector<char> bytes(count);
    size_t have = 0;
    while (have < count) {
        waitFor(socket.get(), POLLIN, end, "bytes");
        ssize_t const got = recv(socket.get(), bytes.data() + have, count - have, MSG_DONTWAIT);
        if (got == 0 || (got < 0 && errno == ECONNRESET)) {
            throw PeerClosed("the other side closed the connection");
        }
        if (got < 0 && errno != EINTR && errno != EAGAIN) {
            throw PeerError(errorText("recv"));
        }
        have += got > 0 ? static_cast<size_t>(got) : 0;
    }
    return bytes;
}

void Connection::send(Frame const& frame, Milliseconds deadline)
{
    sendBytes(bytesOf(frame), deadline);
}

void Connection::sendBytes(std::vector<char> const& bytes, Milliseconds deadline)
{
    auto const end = Clock::now() + deadline;
    size_t done = 0;
    while (done < bytes.size()) {
        waitFor(socket.get(), POLLOUT, end, "the other side to read");
        ssize_t const sent =
            ::send(socket.get(), bytes.data() + done, bytes.size() - done, MSG_DONTWAIT | MSG_NOSIGNAL);
        if (sent < 0 && (errno == EPIPE || errno == ECONNRESET)) {
            throw PeerClosed("the other side closed the connection");
        }
        if (sent < 0 && errno != EINTR && errno != EAGAIN) {
            throw PeerError(errorText("send"));
        }
        done += sent > 0 ? static_cast<size_t>(sent) : 0;
    }
}

bool Connection::waitForClose(Milliseconds deadline)
{
    auto const end = Clock::now() + deadline;
    try {
        for (;;) {
            receiveBytes(1, std::chrono::ceil<Milliseconds>(end - Clock::now()));
        }
    } catch (PeerClosed const&) {
        return true;
    } catch (PeerTimeout const&) {
        return false;
    }
}

bool Connection::isSilentFor(Milliseconds duration)
{
    try {
        waitFor(socket.get(), POLLIN, Clock::now() + duration, "bytes");
        return false;
    } catch (PeerTimeout const&) {
        return true;
    }
}

Listener::Listener(std::string socketPath, int backlog) : path(std::move(socketPath))
{
    sockaddr_un const address = addressOf(path);
    if (somebodyListens(path)) {
        throw PeerError("another server is listening on " + path + "; stop it first");
    }
    struct stat status = {};
    if (lstat(path.c_str(), &status) == 0 && S_ISSOCK(status.st_mode)) {
        unlink(path.c_str());
    }
    socket.reset(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (bind(socket.get(), reinterpret_cast<sockaddr const*>(&address), sizeof address) != 0 ||
        listen(socket.get(), backlog) != 0 || lstat(path.c_str(), &status) != 0) {
        throw PeerError(errorText("cannot listen on " + path) + "; the directory must be there and writable");
    }
    device = status.st_dev;
    inode = status.st_ino;
}

Listener::~Listener()
{
    struct stat status = {};
    if (lstat(path.c_str(), &status) == 0 && status.st_dev == device && status.st_ino == inode) {
        unlink(path.c_str());
    }
}

Connection Listener::accept(Milliseconds deadline)
{
    waitFor(socket.get(), POLLIN, Clock::now() + deadline, "a client");
    Descriptor accepted(accept4(socket.get(), nullptr, nullptr, SOCK_CLOEXEC));
    if (!accepted) {
        throw PeerError(errorText("accept"));
    }
    return Connection(std::move(accepted));
}

} // namespace zelobox
