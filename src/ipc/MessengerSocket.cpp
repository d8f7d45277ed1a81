#include "src/ipc/MessengerSocket.h"

#include <fcntl.h>
#include <stddef.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include "src/ipc/MessengerLog.h"

namespace {

char const socketPath[] = "/tmp/zelo_messenger";

/// Long, so that a connection at rest hardly wakes anybody.
timeval const receiveTimeout = {2, 0};

/// Short, because a sender looks at the clock between two of them, and so does a connect on a full backlog.
timeval const sendTimeout = {0, 50000};

/// The one user whose middleware is believed; below 0 everybody's is.
#ifdef ZELO_MIDDLEWARE_UID
constexpr long long trustedUser = ZELO_MIDDLEWARE_UID;
#else
constexpr long long trustedUser = -1;
#endif

/// @return false when another user than the trusted one listens
bool isTrusted(int fd)
{
    ucred peer;
    socklen_t size = sizeof peer;
    return trustedUser < 0 || (getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 &&
                               static_cast<long long>(peer.uid) == trustedUser);
}

int aboveStandardStreams(int fd)
{
    if (fd < 0 || fd > STDERR_FILENO) {
        return fd;
    }
    int const moved = fcntl(fd, F_DUPFD, STDERR_FILENO + 1);
    close(fd);
    return moved;
}

} // namespace

int openMessengerSocket()
{
    int const fd = aboveStandardStreams(socket(AF_UNIX, SOCK_STREAM, 0));
    if (fcntl(fd, F_SETFD, FD_CLOEXEC) != 0) {
        ZELO_LOG(LogFailure, LineNoCloseOnExec, messengerSource, "Can't set cloexec");
    }
    return fd;
}

bool setMessengerTimeouts(int fd)
{
    return setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &receiveTimeout, sizeof receiveTimeout) == 0 &&
           setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &sendTimeout, sizeof sendTimeout) == 0;
}

int connectMessengerSocket(int fd)
{
    sockaddr_un address;
    memset(&address, 0, sizeof address);
    address.sun_family = AF_UNIX;
    size_t const pathLength = sizeof socketPath - 1; // without the terminator
    memcpy(address.sun_path, socketPath, pathLength);
    socklen_t const length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + pathLength);
    if (connect(fd, reinterpret_cast<sockaddr const*>(&address), length) != 0) {
        return errno;
    }
    return isTrusted(fd) ? 0 : EACCES;
}

void shutDownMessengerSocket(int fd)
{
    shutdown(fd, SHUT_RDWR);
}

void closeMessengerSocket(int fd)
{
    shutDownMessengerSocket(fd);
    close(fd);
}
