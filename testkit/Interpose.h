/// @file
/// Calls of the C library that a test may take over.
///
/// The functions are defined in the test program, where they come before the C library's own, and forward to those
/// unless a test says otherwise. Every call of the process comes here: of the program, of the library it loads and of
/// the runtime.
#ifndef ZELO_TESTKIT_INTERPOSE_H
#define ZELO_TESTKIT_INTERPOSE_H

#include <dlfcn.h>
#include <pthread.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/sysinfo.h>
#include <sys/time.h>
#include <unistd.h>
#include <unwind.h>

#include <atomic>
#include <functional>
#include <thread>
#include <utility>

/// Defines the C library's function of that name, which comes before the library's own, with what may take it over.
#define ZELO_FORWARD(result, name, parameters, arguments)                                                              \
    result name parameters                                                                                             \
    {                                                                                                                  \
        return interpose::name arguments;                                                                              \
    }
#define ZELO_FORWARD_NOEXCEPT(result, name, parameters, arguments)                                                     \
    result name parameters noexcept                                                                                    \
    {                                                                                                                  \
        return interpose::name arguments;                                                                              \
    }

namespace interpose {

template <typename Signature> class Takeover;
template <typename Signature> class Call;

/// What the calls have in common whatever their arguments.
class AnyCall {
public:
    /// The next call that returns a number returns @p result, not 0, and does nothing else.
    void answerNext(int result) { nextResult = result; }
    /// @return how many calls there were
    unsigned calls() const { return made; }

protected:
    constexpr AnyCall() = default;

    std::atomic<int> nextResult{0};
    std::atomic<unsigned> made{0};
};

/// One function of the C library.
template <typename Result, typename... Arguments> class Call<Result(Arguments...)> : public AnyCall {
public:
    constexpr explicit Call(char const* symbol) : name(symbol) {}

    /// The C library's own function, or the sanitizer's before it.
    Result real(Arguments... arguments)
    {
        lookUp();
        return reinterpret_cast<Result (*)(Arguments...)>(function.load())(arguments...);
    }

    Result operator()(Arguments... arguments)
    {
        ++made;
        int const answer = nextResult != 0 ? nextResult.exchange(0) : 0;
        if (answer != 0) {
            return static_cast<Result>(answer);
        }
        Takeover<Result(Arguments...)>* const current = takeover;
        return current != nullptr && current->covers() ? current->call(arguments...) : real(arguments...);
    }

    /// To be done early: dlsym() waits for an unload, which may wait for its caller.
    void lookUp()
    {
        if (function == nullptr) {
            function = dlsym(RTLD_NEXT, name);
        }
    }

private:
    friend class Takeover<Result(Arguments...)>;

    char const* const name;
    std::atomic<void*> function{nullptr};
    std::atomic<Takeover<Result(Arguments...)>*> takeover{nullptr};
};

template <typename... Calls> bool lookUp(Calls&... calls)
{
    return (calls.lookUp(), ...), true;
}

enum class Threads {
    Others, ///< than the one that takes the call over: that one is the other side of the socket
    All,
};

/// Replaces a call for a scope that begins before and ends after the threads that make it.
///
/// Ends the program if nobody came by: a hardened C library calls other functions than those in the source.
template <typename Result, typename... Arguments> class Takeover<Result(Arguments...)> {
public:
    using Behaviour = std::function<Result(Arguments...)>;

    Takeover(Call<Result(Arguments...)>& what, Behaviour how, Threads which = Threads::Others)
        : taken(what), behaviour(std::move(how)), threads(which)
    {
        taken.takeover = this;
    }
    ~Takeover()
    {
        taken.takeover = nullptr;
        if (entered == 0) {
            fprintf(stderr, "%s was taken over but never called\n", taken.name);
            abort();
        }
    }
    Takeover(Takeover const&) = delete;
    Takeover& operator=(Takeover const&) = delete;

    bool covers() const { return threads == Threads::All || std::this_thread::get_id() != creator; }
    Result call(Arguments... arguments)
    {
        ++entered;
        return behaviour(arguments...);
    }
    /// How many calls came by.
    unsigned count() const { return entered; }

private:
    Call<Result(Arguments...)>& taken;
    Behaviour const behaviour;
    Threads const threads;
    std::thread::id const creator = std::this_thread::get_id();
    std::atomic<unsigned> entered{0};
};

template <typename Signature, typename... More> Takeover(Call<Signature>&, More...) -> Takeover<Signature>;

// Sockets
extern Call<int(int, int, int)> socket;
extern Call<int(int, int, void*)> fcntl;
extern Call<int(int, int, int, void const*, socklen_t)> setsockopt;
extern Call<int(int, sockaddr const*, socklen_t)> connect;
extern Call<ssize_t(int, void*, size_t, int)> recv;
extern Call<ssize_t(int, void const*, size_t)> write;
extern Call<int(int)> close;
extern Call<int(int, int)> shutdown;

// The system
extern Call<int(char const*, int, mode_t)> open;
extern Call<int(struct sysinfo*)> sysinfo;
extern Call<int(char const*)> system;
extern Call<int(int, id_t, int)> setpriority;
extern Call<int(pid_t, int)> kill;

// Time
extern Call<int(useconds_t)> usleep;
extern Call<int(timespec const*, timespec*)> nanosleep;
extern Call<int(timeval*, void*)> gettimeofday;

// Threads
extern Call<int(pthread_t*, pthread_attr_t const*, void* (*)(void*), void*)> pthread_create;
extern Call<int(pthread_t, void**)> pthread_join;
extern Call<int(pthread_mutexattr_t*)> pthread_mutexattr_init;
extern Call<int(pthread_mutexattr_t*, int)> pthread_mutexattr_settype;
extern Call<int(pthread_mutex_t*, pthread_mutexattr_t const*)> pthread_mutex_init;
extern Call<int(pthread_mutex_t*)> pthread_mutex_destroy;
extern Call<int(pthread_mutex_t*)> pthread_mutex_lock;
extern Call<int(pthread_mutex_t*)> pthread_mutex_unlock;
extern Call<int(pthread_cond_t*, pthread_condattr_t const*)> pthread_cond_init;
extern Call<int(pthread_cond_t*)> pthread_cond_destroy;
extern Call<int(pthread_cond_t*, pthread_mutex_t*, timespec const*)> pthread_cond_timedwait;
extern Call<int(pthread_cond_t*)> pthread_cond_signal;
extern Call<int(pthread_cond_t*)> pthread_cond_broadcast;

// The unwinder's way to a program counter
#if defined(__arm__)
extern Call<_Unwind_VRS_Result(_Unwind_Context*, _Unwind_VRS_RegClass, uint32_t, _Unwind_VRS_DataRepresentation, void*)>
    unwindGet;
#else
extern Call<_Unwind_Ptr(_Unwind_Context*)> unwindGet;
#endif

} // namespace interpose

#endif
