// The interruptible sleep, and what a body can set about its thread.
#include <errno.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "src/common/STBThread.h"
#include "testkit/Interpose.h"
#include "testkit/ThreadProbe.h"
#include "testkit/Wait.h"

namespace {

using probe::Signal;
using probe::Thread;
using Clock = std::chrono::steady_clock;

unsigned const aMinute = 60000;

/// Stops a thread whose body sleeps for a minute at a time.
///
/// @return how long the stop took
Clock::duration stopOfASleeper()
{
    unsigned const before = interpose::pthread_cond_timedwait.calls();
    Thread thread([&](Thread& self) {
        while (self.isRunning()) {
            self.threadSleepMs(aMinute);
        }
    });
    thread.start(nullptr);
    EXPECT_TRUE(timely::eventually([before] { return interpose::pthread_cond_timedwait.calls() > before; }));
    Clock::time_point const begin = Clock::now();
    thread.stop();
    return Clock::now() - begin;
}

/// @return how long a sleep of a minute takes with this clock, which is of no use; it must not become a wait
Clock::duration sleepWithoutAClock(interpose::Takeover<int(timeval*, void*)>::Behaviour const& clock)
{
    interpose::Takeover const telling(interpose::gettimeofday, clock, interpose::Threads::All);
    Clock::duration taken{};
    probe::Listener listener;
    Thread thread([&](Thread& self) {
        Clock::time_point const begin = Clock::now();
        self.threadSleepMs(aMinute);
        taken = Clock::now() - begin;
    });
    unsigned const before = interpose::pthread_cond_timedwait.calls();
    thread.start(&listener);
    listener.waitForCompletion();
    thread.stop();
    EXPECT_EQ(before, interpose::pthread_cond_timedwait.calls());
    return taken;
}

int niceOfThisThread()
{
    return getpriority(PRIO_PROCESS, static_cast<id_t>(syscall(SYS_gettid)));
}

void expectNice(int expected, int priority)
{
    Thread thread([&](Thread& self) {
        int const before = niceOfThisThread();
        std::vector<int> given;
        interpose::Takeover setting(
            interpose::setpriority,
            [&](int which, id_t who, int value) {
                given = {which, static_cast<int>(who), value};
                return interpose::setpriority.real(which, who, value);
            },
            interpose::Threads::All);
        int const result = self.setPriority(static_cast<STBThread::Priority>(priority));
        EXPECT_EQ((std::vector<int>{PRIO_PROCESS, static_cast<int>(syscall(SYS_gettid)), expected}), given);
        // Without the privilege to be nicer to oneself the system refuses, and its answer is passed on.
        EXPECT_EQ(result == 0 ? expected : before, niceOfThisThread());
        EXPECT_TRUE(result == 0 || expected < before);
    });
    thread.start(nullptr);
    thread.stop();
}

std::string nameOf(std::string const& name)
{
    Signal go;
    std::string found;
    Thread thread(
        [&](Thread&) {
            go.wait();
            char text[32];
            pthread_getname_np(pthread_self(), text, sizeof text);
            found = text;
        },
        name);
    thread.start(nullptr); // has set the name when it returns
    go.give();
    thread.stop();
    return found;
}

std::string nameOfThisThread()
{
    char text[32];
    pthread_getname_np(pthread_self(), text, sizeof text);
    return text;
}

} // namespace

TEST(Sleep, IsEndedByAStop)
{
    EXPECT_LT(stopOfASleeper(), std::chrono::milliseconds(aMinute / 4));
}

TEST(Sleep, IsEndedByANotification)
{
    Signal woken;
    Thread thread([&](Thread& self) {
        self.threadSleepMs(aMinute);
        EXPECT_TRUE(self.isRunning());
        woken.give();
    });
    thread.start(nullptr);
    Clock::time_point const begin = Clock::now();
    while (!woken.isGiven() && Clock::now() < begin + probe::patience) {
        thread.notify(); // may come before the sleep
        sched_yield();
    }
    EXPECT_TRUE(woken.isGiven());
    thread.stop();
}

TEST(Sleep, OfNoTimeReturnsAtOnce)
{
    probe::Listener listener;
    Thread thread([&](Thread& self) { self.threadSleepMs(0); });
    unsigned const before = interpose::pthread_cond_timedwait.calls();
    thread.start(&listener);
    listener.waitForCompletion();
    thread.stop();
    EXPECT_EQ(before + 1, interpose::pthread_cond_timedwait.calls());
}

TEST(Sleep, OfAStoppedThreadReturnsAtOnce)
{
    Thread thread([](Thread&) {});
    unsigned const before = interpose::pthread_cond_timedwait.calls();
    thread.threadSleepMs(aMinute);
    EXPECT_EQ(before, interpose::pthread_cond_timedwait.calls());
}

TEST(Sleep, EndsOnTheWallClock)
{
    timespec deadline = {};
    unsigned waits = 0;
    interpose::Takeover const telling(
        interpose::gettimeofday,
        [](timeval* now, void*) {
            *now = {100, 234567};
            return 0;
        },
        interpose::Threads::All);
    interpose::Takeover const waiting(interpose::pthread_cond_timedwait,
                                      [&](pthread_cond_t*, pthread_mutex_t*, timespec const* until) {
                                          deadline = *until;
                                          ++waits;
                                          return ETIMEDOUT;
                                      });
    Thread thread([&](Thread& self) { self.threadSleepMs(2001); });
    probe::Listener listener;
    thread.start(&listener);
    listener.waitForCompletion();
    thread.stop();
    EXPECT_EQ(1U, waits);
    EXPECT_EQ(102, deadline.tv_sec);
    EXPECT_EQ(235567000, deadline.tv_nsec);
}

TEST(Priority, IsTheNiceValueOfTheCallingThread)
{
    expectNice(15, STBThread::PriorityLow);
    expectNice(0, STBThread::PriorityNormal);
    expectNice(-5, STBThread::PriorityHigh);
}

TEST(Priority, IsNormalForEveryOtherValue)
{
    for (int const priority : {-1, 3, 7, 100}) {
        expectNice(0, priority);
    }
}

TEST(Name, IsGivenToTheThread)
{
    EXPECT_EQ("ipc_cln", nameOf("ipc_cln"));
    EXPECT_EQ("fifteen letters", nameOf("fifteen letters"));
}

TEST(Name, HasNoEffectWhenItIsLongerThanTheSystemTakes)
{
    EXPECT_EQ(nameOfThisThread(), nameOf("sixteen letters!"));
}

TEST(Name, IsThatOfItsStarterWhenThereIsNone)
{
    EXPECT_EQ(nameOfThisThread(), nameOf(""));
}

TEST(ThreadSleepWithoutAClock, IsAShortOneWhenTheClockFails)
{
    Clock::duration const taken = sleepWithoutAClock([](timeval*, void*) { return -1; });
    EXPECT_GE(taken, std::chrono::milliseconds(50));
    EXPECT_LT(taken, std::chrono::seconds(5));
}

TEST(ThreadSleepWithoutAClock, IsAShortOneWhenTheClockIsBefore1970)
{
    Clock::duration const taken = sleepWithoutAClock([](timeval* now, void*) {
        *now = {-2147483648L, 7};
        return 0;
    });
    EXPECT_GE(taken, std::chrono::milliseconds(50));
    EXPECT_LT(taken, std::chrono::seconds(5));
}
