/// @file
/// Checked wrappers over POSIX threads.
///
/// Every POSIX result that a wrapper does not accept is a programming error: assertionFailed() reports it and kills the
/// process. So there is no error return and no exception, and callers may take every call as done. Timed waits use the
/// real-time clock. The reported line numbers belong to the texts of the report and are fixed, not this file's own.
#ifndef ZELO_PTHREAD_HELPER_H
#define ZELO_PTHREAD_HELPER_H

#include <errno.h>
#include <pthread.h>
#include <time.h>

#include "inc/private/thread_annotations.h"

namespace pthread_helper {

/// Prints the report of a failed check to standard output and the caller's stack to standard error, then kills the own
/// process with SIGKILL. What was printed has reached its pipe or file by then. If nobody takes it, the process dies
/// within two seconds all the same.
///
/// @param condition  text of the check that failed
/// @param result     what the POSIX call returned
/// @param line       fixed line number of the check
/// @param object     the wrapped object
void assertionFailed(char const* condition, int result, int line, void const* object) noexcept;

/// Reports @p condition unless @p holds.
inline void check(bool holds, char const* condition, int result, int line, void const* object) noexcept
{
    if (__builtin_expect(!holds, 0)) {
        assertionFailed(condition, result, line, object);
    }
}

/// An error-checking mutex, never recursive: a second lock by its owner is reported, not waited for.
class CAPABILITY("mutex") mutex {
public:
    mutex() noexcept
    {
        pthread_mutexattr_t attributes;
        checkCreation(pthread_mutexattr_init(&attributes));
        checkCreation(pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_ERRORCHECK));
        checkCreation(pthread_mutex_init(&handle, &attributes));
    }

    ~mutex()
    {
        int const res = pthread_mutex_destroy(&handle);
        check(res != EBUSY, "res != 16", res, 163, this);
        check(res == 0, "res == 0", res, 164, this);
    }

    mutex(mutex const&) = delete;
    mutex& operator=(mutex const&) = delete;

    void lock() noexcept ACQUIRE()
    {
        int const res = pthread_mutex_lock(&handle);
        check(res != EDEADLK, "res != 35", res, 178, this);
        check(res == 0, "res == 0", res, 179, this);
    }

    /// Releasing a mutex that the calling thread does not hold (EPERM) is tolerated.
    void unlock() noexcept RELEASE()
    {
        int const res = pthread_mutex_unlock(&handle);
        check(res <= EPERM, "res == 0", res, 195, this);
    }

private:
    friend class cond;

    void checkCreation(int res) noexcept { check(res == 0, "res == 0", res, 159, this); }

    pthread_mutex_t handle;
};

/// Holds a mutex for a scope, or until unlock().
class SCOPED_CAPABILITY guard {
public:
    explicit guard(mutex& lockedMutex) noexcept ACQUIRE(lockedMutex) : held(&lockedMutex) { held->lock(); }
    ~guard() RELEASE() { unlock(); }

    guard(guard const&) = delete;
    guard& operator=(guard const&) = delete;

    /// Releases the mutex before the end of the scope; the end then releases nothing.
    void unlock() noexcept RELEASE()
    {
        if (held != nullptr) {
            held->unlock();
            held = nullptr;
        }
    }

private:
    mutex* held;
};

/// A condition variable with default attributes.
class cond {
public:
    cond() noexcept
    {
        int const res = pthread_cond_init(&handle, nullptr);
        check(res == 0, "res == 0", res, 230, this);
    }

    ~cond()
    {
        int const res = pthread_cond_destroy(&handle);
        check(res == 0, "res == 0", res, 234, this);
    }

    cond(cond const&) = delete;
    cond& operator=(cond const&) = delete;

    /// Waits until a signal, a spurious wake-up or the deadline.
    ///
    /// @param heldMutex  held by the caller, released while waiting
    /// @param deadline   absolute, on the real-time clock
    /// @return 0 or ETIMEDOUT
    int timedWait(mutex& heldMutex, timespec const& deadline) noexcept REQUIRES(heldMutex)
    {
        int const res = pthread_cond_timedwait(&handle, &heldMutex.handle, &deadline);
        check(res == 0 || res == ETIMEDOUT, "res == 0 || res == 110", res, 270, this);
        return res;
    }

    void signal() noexcept
    {
        int const res = pthread_cond_signal(&handle);
        check(res == 0, "res == 0", res, 278, this);
    }

    void broadcast() noexcept
    {
        int const res = pthread_cond_broadcast(&handle);
        check(res == 0, "res == 0", res, 282, this);
    }

private:
    pthread_cond_t handle;
};

/// The start record of one thread; belongs to whoever starts it and outlives the thread.
template <typename T> class thread {
public:
    thread(T* runObject, void (T::*runFunction)()) noexcept : object(runObject), function(runFunction) {}

    /// Starts the thread with default attributes.
    void start() noexcept
    {
        int const res = pthread_create(&handle, nullptr, &thread::thread_callback, this);
        check(res == 0, "res == 0", res, 303, this);
    }

    /// @param name  at most 15 characters; a longer one has no effect
    void setName(char const* name) noexcept { static_cast<void>(pthread_setname_np(handle, name)); }

    void join() noexcept
    {
        static_cast<void>(pthread_join(handle, nullptr));
        joined = true;
    }

    /// The start routine. @param record the thread record @return null
    static void* thread_callback(void* record)
    {
        thread const* const self = static_cast<thread const*>(record);
        (self->object->*self->function)();
        return nullptr;
    }

private:
    T* object;
    void (T::*function)();
    pthread_t handle{};
    bool joined = false;
};

} // namespace pthread_helper

#endif
