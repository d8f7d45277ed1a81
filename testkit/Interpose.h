/// @file
/// Calls of the C library that a test may take over.
///
/// The functions are defined in the test program, where they come before the C library's own, and forward to those
/// unless a Takeover says otherwise.
#ifndef ZELO_TESTKIT_INTERPOSE_H
#define ZELO_TESTKIT_INTERPOSE_H

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <atomic>
#include <functional>
#include <thread>
#include <utility>

namespace interpose {

template <typename Signature> class Takeover;
template <typename Signature> class Call;

/// One function of the C library.
template <typename Result, typename... Arguments> class Call<Result(Arguments...)> {
public:
    constexpr explicit Call(char const* symbol) : name(symbol) {}

    /// The C library's own function, or the sanitizer's before it.
    Result real(Arguments... arguments)
    {
        void* found = function;
        if (found == nullptr) {
            found = dlsym(RTLD_NEXT, name);
            function = found;
        }
        return reinterpret_cast<Result (*)(Arguments...)>(found)(arguments...);
    }

    Result operator()(Arguments... arguments)
    {
        Takeover<Result(Arguments...)>* const current = takeover;
        return current != nullptr && current->covers() ? current->call(arguments...) : real(arguments...);
    }

private:
    friend class Takeover<Result(Arguments...)>;

    char const* const name;
    std::atomic<void*> function{nullptr};
    std::atomic<Takeover<Result(Arguments...)>*> takeover{nullptr};
};

enum class Threads {
    Others, ///< than the one that takes the call over: that one is the other side of the socket
    All,
};

/// Replaces a call for a scope that begins before and ends after the threads that make it.
///
/// Fails the test if nobody came by: a hardened C library calls other functions than those in the source.
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
        EXPECT_LT(0U, entered) << taken.name << " was taken over but never called";
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

extern Call<int(int, int, int)> socket;
extern Call<int(int, int, void*)> fcntl;
extern Call<int(int, int, int, void const*, socklen_t)> setsockopt;
extern Call<int(int, sockaddr const*, socklen_t)> connect;
extern Call<ssize_t(int, void*, size_t, int)> recv;
extern Call<ssize_t(int, void const*, size_t)> write;
extern Call<int(int)> close;
extern Call<int(int, int)> shutdown;
extern Call<int(useconds_t)> usleep;
extern Call<int(timespec const*, timespec*)> nanosleep;
extern Call<int(timeval*, void*)> gettimeofday;
extern Call<int(pthread_cond_t*, pthread_mutex_t*, timespec const*)> pthread_cond_timedwait;
extern Call<int(pthread_t, void**)> pthread_join;

} // namespace interpose

#endif
