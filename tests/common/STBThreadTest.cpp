// Life of a thread: start, body, listener, stop, and once more.
#include <gtest/gtest.h>

#include <new>

#include "src/common/STBThread.h"
#include "testkit/Allocations.h"
#include "testkit/HostStandIn.h"
#include "testkit/Interpose.h"
#include "testkit/ThreadProbe.h"

namespace {

using probe::Listener;
using probe::Signal;
using probe::Thread;

std::string withAddress(char const* before, STBThread const& thread, char const* after)
{
    char text[100];
    snprintf(text, sizeof text, "%s%p%s", before, static_cast<void const*>(&thread), after);
    return text;
}

/// Does not stop itself in its destructor, so its body uses nothing of its own once it has begun.
class LeftToTheBase : public STBThread {
public:
    LeftToTheBase(Signal& begunSignal, std::atomic<bool>& returnedFlag) : begun(begunSignal), returned(returnedFlag) {}

    void run() override
    {
        std::atomic<bool>& flag = returned;
        begun.give();
        while (isRunning()) {
            threadSleepMs(60000);
        }
        flag = true;
    }

private:
    Signal& begun;
    std::atomic<bool>& returned;
};

void expectLogged(int line, std::string const& message)
{
    std::vector<standin::LogLine> const lines = standin::logLines();
    ASSERT_EQ(1U, lines.size());
    EXPECT_EQ(1, lines[0].level);
    EXPECT_EQ(line, lines[0].line);
    EXPECT_EQ("src/common/STBThread", lines[0].file);
    EXPECT_EQ(message, lines[0].message);
}

} // namespace

TEST(Thread, RunsItsBodyOnAThreadOfItsOwn)
{
    standin::clearLog();
    Signal begun;
    pthread_t body = pthread_self();
    Thread thread([&](Thread& self) {
        body = pthread_self();
        EXPECT_TRUE(self.isRunning());
        begun.give();
    });
    thread.start(nullptr);
    EXPECT_TRUE(thread.isRunning());
    begun.wait();
    thread.stop();
    EXPECT_FALSE(pthread_equal(body, pthread_self()));
    EXPECT_FALSE(thread.isRunning());
    EXPECT_TRUE(standin::logLines().empty());
}

TEST(Thread, GoesByTwoNamesForEachOperation)
{
    bool ran = false;
    Thread thread([&](Thread& self) {
        ran = true;
        self.sleepMs(0);
    });
    thread.startThread(nullptr);
    thread.stopThread();
    EXPECT_TRUE(ran);
}

TEST(Thread, LogsAStopWithoutAStartAndASecondStop)
{
    Thread thread([](Thread&) {});
    EXPECT_FALSE(thread.isRunning());
    for (int i = 0; i < 2; ++i) {
        standin::clearLog();
        thread.stop();
        expectLogged(82, withAddress("Thread ", thread, " already stopped"));
        thread.start(nullptr);
        thread.stop();
    }
}

TEST(Thread, IsNotStartedTwice)
{
    std::atomic<int> bodies{0};
    Signal go;
    Thread thread([&](Thread&) {
        ++bodies;
        go.wait();
    });
    thread.start(nullptr);
    unsigned const threads = interpose::pthread_create.calls();
    standin::clearLog();
    thread.start(nullptr);
    expectLogged(60, withAddress("Thread ", thread, " already running"));
    EXPECT_EQ(threads, interpose::pthread_create.calls());
    go.give();
    thread.stop();
    EXPECT_EQ(1, bodies);
}

TEST(Thread, TakesTheListenerOfASecondStart)
{
    Signal go;
    Listener first;
    Listener second;
    Thread thread([&](Thread&) { go.wait(); });
    thread.start(&first);
    thread.start(&second);
    go.give();
    EXPECT_EQ(&thread, second.waitForCompletion());
    thread.stop();
    EXPECT_EQ(0, first.completions());
    EXPECT_EQ(1, second.completions());
}

TEST(Thread, TellsItsListenerWhenTheBodyHasReturned)
{
    std::atomic<bool> returned{false};
    Listener listener([&](STBThread& thread) {
        EXPECT_TRUE(returned);
        EXPECT_TRUE(thread.isRunning()) << "until it is stopped";
        thread.notify(); // no lock is held
    });
    Thread thread([&](Thread&) { returned = true; });
    thread.start(&listener);
    EXPECT_EQ(&thread, listener.waitForCompletion());
    EXPECT_TRUE(thread.isRunning());
    thread.stop();
    EXPECT_EQ(1, listener.completions());
}

TEST(Thread, CanBeStartedAgain)
{
    std::atomic<int> bodies{0};
    Listener listener;
    Thread thread([&](Thread&) { ++bodies; });
    for (int i = 0; i < 20; ++i) {
        thread.start(&listener);
        thread.stop();
    }
    EXPECT_EQ(20, bodies);
    EXPECT_EQ(20, listener.completions());
}

TEST(Thread, StopsOnlyAfterTheBodyHasReturned)
{
    std::atomic<bool> returned{false};
    Signal begun;
    Thread thread([&](Thread& self) {
        begun.give();
        while (self.isRunning()) {
            sched_yield();
        }
        for (int i = 0; i < 100; ++i) {
            sched_yield(); // a stop that does not wait would be over by now
        }
        returned = true;
    });
    thread.start(nullptr);
    begun.wait();
    thread.stop();
    EXPECT_TRUE(returned);
}

TEST(Thread, IsStoppedByItsDestructorWithoutAWordInTheLog)
{
    standin::clearLog();
    std::atomic<bool> returned{false};
    Signal begun;
    {
        LeftToTheBase thread(begun, returned);
        thread.start(nullptr);
        begun.wait();
    }
    EXPECT_TRUE(returned);
    EXPECT_TRUE(standin::logLines().empty());
}

TEST(Thread, IsDestroyedUnstartedWithoutAWordInTheLog)
{
    standin::clearLog();
    std::atomic<bool> returned{false};
    Signal begun;
    {
        LeftToTheBase const thread(begun, returned);
    }
    EXPECT_FALSE(returned);
    EXPECT_TRUE(standin::logLines().empty());
}

TEST(Thread, IsLeftAsItWasByAStartWithoutMemory)
{
    Signal go;
    Listener first;
    Listener second;
    Thread thread([&](Thread&) { go.wait(); });
    bool failed = false;
    for (bool const running : {false, true}) {
        failed = false;
        try {
            allocations::Budget const nothing(0);
            thread.start(&second);
        } catch (std::bad_alloc const&) {
            failed = true;
        }
        EXPECT_TRUE(failed);
        EXPECT_EQ(running, thread.isRunning());
        if (!running) {
            thread.start(&first);
        }
    }
    go.give();
    first.waitForCompletion();
    thread.stop();
    EXPECT_EQ(1, first.completions());
    EXPECT_EQ(0, second.completions());
}
