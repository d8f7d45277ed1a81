// The interruptible sleep, and what a body can set about its thread.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <functional>

#include "src/common/STBThread.h"
#include "testkit/ThreadProbe.h"
#include "testkit/Wrapped.h"

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
    Signal begun;
    Thread thread([&](Thread& self) {
        begun.give();
        while (self.isRunning()) {
            self.threadSleepMs(aMinute);
        }
    });
    thread.start(nullptr);
    begun.wait();
    Clock::time_point const begin = Clock::now();
    thread.stop();
    return Clock::now() - begin;
}

/// @return the deadline of a sleep that begins at @p now
timespec deadlineOf(timeval now, unsigned ms)
{
    wrapped::stopWallClock(now);
    probe::Listener listener;
    Thread thread([&](Thread& self) { self.threadSleepMs(ms); });
    unsigned const before = wrapped::calls(wrapped::CondTimedWait);
    thread.start(&listener);
    listener.waitForCompletion();
    thread.stop();
    wrapped::restoreWallClock();
    EXPECT_EQ(before + 1, wrapped::calls(wrapped::CondTimedWait));
    return wrapped::lastDeadline();
}

void expectDeadline(long seconds, long nanoseconds, timespec const& deadline)
{
    EXPECT_EQ(seconds, deadline.tv_sec);
    EXPECT_EQ(nanoseconds, deadline.tv_nsec);
}

/// @return how long a sleep of a minute takes in which the clock is of no use; it must not become a wait
Clock::duration sleepWithoutAClock(std::function<void()> const& breakClock)
{
    probe::Listener listener;
    Clock::duration taken{};
    Thread thread([&](Thread& self) {
        Clock::time_point const begin = Clock::now();
        self.threadSleepMs(aMinute);
        taken = Clock::now() - begin;
    });
    unsigned const before = wrapped::calls(wrapped::CondTimedWait);
    breakClock();
    thread.start(&listener);
    listener.waitForCompletion();
    thread.stop();
    wrapped::restoreWallClock();
    EXPECT_EQ(before, wrapped::calls(wrapped::CondTimedWait));
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
        int const result = self.setPriority(static_cast<STBThread::Priority>(priority));
        unsigned const own = static_cast<unsigned>(syscall(SYS_gettid));
        EXPECT_EQ(PRIO_PROCESS, wrapped::lastPriority().which);
        EXPECT_EQ(own, wrapped::lastPriority().who);
        EXPECT_EQ(expected, wrapped::lastPriority().value);
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

TEST(Sleep, IsEndedByAStopWhereverTheWallClockGoes)
{
    for (int const hours : {1, -1}) {
        wrapped::shiftWallClock(hours * 3600);
        EXPECT_LT(stopOfASleeper(), std::chrono::milliseconds(aMinute / 4)) << hours;
    }
    wrapped::restoreWallClock();
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
    unsigned const before = wrapped::calls(wrapped::CondTimedWait);
    thread.start(&listener);
    listener.waitForCompletion();
    thread.stop();
    EXPECT_EQ(before + 1, wrapped::calls(wrapped::CondTimedWait));
}

TEST(Sleep, OfAStoppedThreadReturnsAtOnce)
{
    Thread thread([](Thread&) {});
    unsigned const before = wrapped::calls(wrapped::CondTimedWait);
    thread.threadSleepMs(aMinute);
    EXPECT_EQ(before, wrapped::calls(wrapped::CondTimedWait));
}

TEST(Sleep, EndsOnTheWallClockToTheMicrosecond)
{
    expectDeadline(100, 0, deadlineOf({100, 0}, 0));
    expectDeadline(100, 1000000, deadlineOf({100, 0}, 1));
    expectDeadline(100, 999999000, deadlineOf({100, 999999}, 0));
    expectDeadline(101, 999000, deadlineOf({100, 999999}, 1));
    expectDeadline(102, 234567000, deadlineOf({100, 234567}, 2000));
    expectDeadline(100 + 4294967, 295000000, deadlineOf({100, 0}, 4294967295U)); // more than 32 bits of microseconds
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
    Clock::duration const taken = sleepWithoutAClock([] { wrapped::failNext(wrapped::GetTimeOfDay, -1); });
    EXPECT_GE(taken, std::chrono::milliseconds(20));
    EXPECT_LT(taken, std::chrono::seconds(5));
}

TEST(ThreadSleepWithoutAClock, IsAShortOneWhenTheClockIsBefore1970)
{
    Clock::duration const taken = sleepWithoutAClock([] { wrapped::stopWallClock({-2147483648L, 7}); });
    EXPECT_GE(taken, std::chrono::milliseconds(20));
    EXPECT_LT(taken, std::chrono::seconds(5));
}
