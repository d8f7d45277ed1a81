// Sockets, the system and time.
#include "testkit/Interpose.h"

#include <fcntl.h>
#include <signal.h>
#include <stdarg.h>

#include "testkit/Coverage.h"

namespace interpose {

Call<int(int, int, int)> socket("socket");
Call<int(int, int, void*)> fcntl("fcntl");
Call<int(int, int, int, void const*, socklen_t)> setsockopt("setsockopt");
Call<int(int, sockaddr const*, socklen_t)> connect("connect");
Call<ssize_t(int, void*, size_t, int)> recv("recv");
Call<ssize_t(int, void const*, size_t)> write("write");
Call<int(int)> close("close");
Call<int(int, int)> shutdown("shutdown");
Call<int(char const*, int, mode_t)> open("open");
Call<int(struct sysinfo*)> sysinfo("sysinfo");
Call<int(char const*)> system("system");
Call<int(int, id_t, int)> setpriority("setpriority");
Call<int(pid_t, int)> kill("kill");
Call<int(useconds_t)> usleep("usleep");
Call<int(timespec const*, timespec*)> nanosleep("nanosleep");
Call<int(timeval*, void*)> gettimeofday("gettimeofday");

static bool const areLookedUp = lookUp(socket, fcntl, setsockopt, connect, recv, write, close, shutdown, open, sysinfo,
                                       system, setpriority, kill, usleep, nanosleep, gettimeofday);

} // namespace interpose

extern "C" {

ZELO_FORWARD_NOEXCEPT(int, socket, (int domain, int type, int protocol), (domain, type, protocol))

int fcntl(int fd, int command, ...)
{
    va_list arguments;
    va_start(arguments, command);
    void* const argument = va_arg(arguments, void*); // as wide as every argument that a command may have
    va_end(arguments);
    return interpose::fcntl(fd, command, argument);
}

ZELO_FORWARD_NOEXCEPT(int, setsockopt, (int fd, int level, int option, void const* value, socklen_t size),
                      (fd, level, option, value, size))
ZELO_FORWARD(int, connect, (int fd, sockaddr const* address, socklen_t length), (fd, address, length))
ZELO_FORWARD(ssize_t, recv, (int fd, void* bytes, size_t size, int flags), (fd, bytes, size, flags))
ZELO_FORWARD(ssize_t, write, (int fd, void const* bytes, size_t size), (fd, bytes, size))
ZELO_FORWARD(int, close, (int fd), (fd))
ZELO_FORWARD_NOEXCEPT(int, shutdown, (int fd, int how), (fd, how))

int open(char const* path, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    mode_t const mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    return interpose::open(path, flags, mode);
}

int sysinfo(struct sysinfo* info) noexcept
{
    return interpose::sysinfo(info);
}

ZELO_FORWARD(int, system, (char const* command), (command))

int setpriority(__priority_which_t which, id_t who, int value) noexcept
{
    return interpose::setpriority(static_cast<int>(which), who, value);
}

int kill(pid_t process, int signal) noexcept
{
    coverage::write(); // the signal may be the end of this process
    return interpose::kill(process, signal);
}

ZELO_FORWARD(int, nanosleep, (timespec const* duration, timespec* left), (duration, left))
ZELO_FORWARD(int, usleep, (useconds_t microseconds), (microseconds))
ZELO_FORWARD_NOEXCEPT(int, gettimeofday, (timeval * now, void* zone), (now, zone))
} // extern "C"
