// What the wrappers accept, and what holders of a lock can rely on.
#include "inc/private/pthread_helper.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "testkit/Interpose.h"

using pthread_helper::cond;
using pthread_helper::guard;
using pthread_helper::mutex;

namespace {

struct Body {
    void run() { ran = true; }
    bool ran = false;
};

/// @return how many more calls there are by the end of @p action
template <typename Action> unsigned callsIn(interpose::AnyCall const& call, Action action)
{
    unsigned const before = call.calls();
    action();
    return call.calls() - before;
}

timespec secondsFromNow(int seconds)
{
    timespec deadline;
    clock_gettime(CLOCK_REALTIME, &deadline);
    deadline.tv_sec += seconds;
    return deadline;
}

} // namespace

TEST(Mutex, ToleratesAReleaseByAThreadThatDoesNotHoldIt)
{
    mutex free;
    interpose::pthread_mutex_unlock.answerNext(EPERM);
    EXPECT_EQ(1U, callsIn(interpose::pthread_mutex_unlock, [&]() NO_THREAD_SAFETY_ANALYSIS { free.unlock(); }));
#if !defined(__SANITIZE_THREAD__) // which reports the misuse itself
    [&]() NO_THREAD_SAFETY_ANALYSIS { free.unlock(); }();
#endif
    guard const lock(free);
}

TEST(Guard, HoldsItsMutexForItsScope)
{
    mutex held;
    EXPECT_EQ(1U, callsIn(interpose::pthread_mutex_lock, [&] {
                  EXPECT_EQ(1U, callsIn(interpose::pthread_mutex_unlock, [&] { guard const lock(held); }));
              }));
}

TEST(Guard, ReleasesItsMutexOnAnException)
{
    mutex held;
    EXPECT_EQ(1U, callsIn(interpose::pthread_mutex_unlock, [&] {
                  try {
                      guard const lock(held);
                      throw std::runtime_error("test");
                  } catch (std::runtime_error const&) {
                  }
              }));
}

TEST(Guard, ReleasesItsMutexOnce)
{
    mutex held;
    EXPECT_EQ(1U, callsIn(interpose::pthread_mutex_unlock, [&] {
                  guard lock(held);
                  lock.unlock();
              }));
}

TEST(Cond, TimesOutNormally)
{
    mutex held;
    cond condition;
    guard const lock(held);
    EXPECT_EQ(ETIMEDOUT, condition.timedWait(held, secondsFromNow(-1)));
}

TEST(Cond, IsWokenBySignalAndBroadcast)
{
    struct Waker {
        void signal() { wake(&cond::signal); }
        void broadcast() { wake(&cond::broadcast); }
        void wake(void (cond::*how)())
        {
            guard const lock(held); // the waiter has let go of it, so it waits
            woken = true;
            (condition.*how)();
        }
        mutex held;
        cond condition;
        bool woken = false;
    };
    for (auto const how : {&Waker::signal, &Waker::broadcast}) {
        Waker waker;
        guard lock(waker.held);
        pthread_helper::thread<Waker> thread(&waker, how);
        thread.start();
        while (!waker.woken) {
            ASSERT_EQ(0, waker.condition.timedWait(waker.held, secondsFromNow(60)));
        }
        lock.unlock();
        thread.join();
    }
}

TEST(ThreadRecord, RunsItsFunctionOnItsObject)
{
    Body body;
    pthread_helper::thread<Body> thread(&body, &Body::run);
    thread.start();
    thread.join();
    EXPECT_TRUE(body.ran);
}

TEST(ThreadRecord, IsWhatTheStartRoutineTakes)
{
    Body body;
    pthread_helper::thread<Body> record(&body, &Body::run);
    EXPECT_EQ(nullptr, pthread_helper::thread<Body>::thread_callback(&record));
    EXPECT_TRUE(body.ran);
}
