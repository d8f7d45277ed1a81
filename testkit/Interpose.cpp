#include "testkit/Interpose.h"

#include <fcntl.h>
#include <stdarg.h>

namespace interpose {

Call<int(int, int, int)> socket("socket");
Call<int(int, int, void*)> fcntl("fcntl");
Call<int(int, int, int, void const*, socklen_t)> setsockopt("setsockopt");
Call<int(int, sockaddr const*, socklen_t)> connect("connect");
Call<ssize_t(int, void*, size_t, int)> recv("recv");
Call<ssize_t(int, void const*, size_t)> write("write");
Call<int(int)> close("close");
Call<int(int, int)> shutdown("shutdown");
Call<int(useconds_t)> usleep("usleep");
Call<int(timespec const*, timespec*)> nanosleep("nanosleep");
Call<int(timeval*, void*)> gettimeofday("gettimeofday");
Call<int(pthread_cond_t*, pthread_mutex_t*, timespec const*)> pthread_cond_timedwait("pthread_cond_timedwait");
Call<int(pthread_t, void**)> pthread_join("pthread_join");

} // namespace interpose

extern "C" {

int socket(int domain, int type, int protocol) noexcept
{
    return interpose::socket(domain, type, protocol);
}

int fcntl(int fd, int command, ...)
{
    va_list arguments;
    va_start(arguments, command);
    void* const argument = va_arg(arguments, void*); // as wide as every argument that a command may have
    va_end(arguments);
    return interpose::fcntl(fd, command, argument);
}

int setsockopt(int fd, int level, int option, void const* value, socklen_t size) noexcept
{
    return interpose::setsockopt(fd, level, option, value, size);
}

int connect(int fd, sockaddr const* address, socklen_t length)
{
    return interpose::connect(fd, address, length);
}

ssize_t recv(int fd, void* bytes, size_t size, int flags)
{
    return interpose::recv(fd, bytes, size, flags);
}

ssize_t write(int fd, void const* bytes, size_t size)
{
    return interpose::write(fd, bytes, size);
}

int close(int fd)
{
    return interpose::close(fd);
}

int shutdown(int fd, int how) noexcept
{
    return interpose::shutdown(fd, how);
}

int nanosleep(timespec const* duration, timespec* left)
{
    return interpose::nanosleep(duration, left);
}

int usleep(useconds_t microseconds)
{
    return interpose::usleep(microseconds);
}

int gettimeofday(timeval* now, void* zone) noexcept
{
    return interpose::gettimeofday(now, zone);
}

int pthread_cond_timedwait(pthread_cond_t* condition, pthread_mutex_t* mutex, timespec const* deadline)
{
    return interpose::pthread_cond_timedwait(condition, mutex, deadline);
}

int pthread_join(pthread_t thread, void** result)
{
    return interpose::pthread_join(thread, result);
}

} // extern "C"
