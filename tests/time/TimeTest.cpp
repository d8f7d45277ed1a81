#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <thread>

#include "cobalt/ZeloCobalt.h"
#include "src/common/STBThread.h"
#include "src/common/TimedWait.h"
#include "tests/hostile/Rig.h"
#include "tests/time/Clock.h"

using namespace rig;

namespace {

int64_t const hour = 3600;
int64_t const endOf32Bits = 0x7FFFFFFF;

void receiveRequest(zelobox::Connection& connection)
{
    while (connection.receive().type != IPC_PREVIOUS_CONTROLLER) {
    }
}

/// Sends a key in and takes a request out.
void exchange(zelobox::Connection& connection)
{
    int const before = keys;
    connection.sendBytes(keyFrame());
    ASSERT_TRUE(waitUntil([before] { return keys > before; }));
    ZeloRequestPreviousController();
    receiveRequest(connection);
}

Milliseconds timeOfStop()
{
    auto const begin = Clock::now();
    ZeloStopApp();
    return since(begin);
}

class WallClock : public Started {
protected:
    /// Lets the sender come to a wait that was begun under the present clock.
    void passAWait()
    {
        unsigned long const before = wallclock::readings();
        exchange(connection);
        ASSERT_TRUE(waitUntil([before] { return wallclock::readings() > before; }));
    }

    ~WallClock() override
    {
        EXPECT_GT(wallclock::readings(), 0U);
        wallclock::stepDuringWaits(0);
        wallclock::stepToAndFro(0);
        wallclock::moveWorld(0);
    }
};

/// Ends a child also when the test fails.
class Child {
public:
    explicit Child(pid_t forked) : pid(forked) {}
    ~Child()
    {
        kill(pid, SIGKILL);
        waitpid(pid, nullptr, 0);
    }
    Child(Child const&) = delete;
    Child& operator=(Child const&) = delete;

    pid_t const pid;
};

class Sleeper : public STBThread {
public:
    ~Sleeper() override { stop(); }
    void run() override
    {
        while (isRunning()) {
            threadSleepMs(60000);
            ++rounds;
        }
    }
    std::atomic<int> rounds{0};
};

} // namespace

TEST_F(WallClock, SetBackHoldsUpNoMessageAndNoStop)
{
    wallclock::stepDuringWaits(hour);
    passAWait();
    for (int i = 0; i < 20; ++i) {
        exchange(connection);
    }
    EXPECT_LT(timeOfStop(), Milliseconds(2000));
}

TEST_F(WallClock, SetForwardHoldsUpNoMessageAndNoStop)
{
    wallclock::stepDuringWaits(-hour);
    passAWait();
    for (int i = 0; i < 20; ++i) {
        exchange(connection);
    }
    EXPECT_LT(timeOfStop(), Milliseconds(2000));
}

TEST_F(WallClock, SteppedToAndFroChangesNothing)
{
    wallclock::stepToAndFro(hour);
    for (int i = 0; i < 20; ++i) {
        exchange(connection);
    }
    connection.close();
    connection = acceptClient();
    exchange(connection);
    EXPECT_LT(timeOfStop(), Milliseconds(2000));
}

TEST_F(WallClock, MayPassTheEndOf32Bits)
{
    wallclock::moveWorld(endOf32Bits - wallclock::realSeconds() - 1);
    auto const begin = Clock::now();
    while (since(begin) < Milliseconds(2500)) {
        exchange(connection);
    }
    EXPECT_LT(timeOfStop(), Milliseconds(2000));
}

TEST(Time, AStartAfter2038IsAStart)
{
    for (int64_t const moment : {endOf32Bits, 2 * endOf32Bits + 2, int64_t{4102444800}}) {
        wallclock::moveWorld(moment - wallclock::realSeconds());
        unsigned long const readings = wallclock::readings();
        zelobox::Listener listener;
        std::thread host([] { ZeloStartApp({[](SbKey, uint8_t) { ++keys; }, nullptr, nullptr, nullptr}); });
        zelobox::Connection connection = listener.accept();
        connection.send({IPC_PAYLOAD_RAW, IPC_BROWSER_CONFIG, configuration("en")});
        host.join();
        exchange(connection);
        EXPECT_LT(timeOfStop(), Milliseconds(2000));
        EXPECT_GT(wallclock::readings(), readings);
    }
    wallclock::moveWorld(0);
}

TEST(Time, ASleepThroughAStepEndsWithAStopOrANotification)
{
    for (int64_t const step : {hour, int64_t{0}}) {
        wallclock::stepDuringWaits(step);
        Sleeper sleeper;
        sleeper.start(nullptr);
        EXPECT_TRUE(waitUntil([&sleeper] {
            sleeper.notify();
            return sleeper.rounds > 2;
        }));
        auto const begin = Clock::now();
        sleeper.stop();
        EXPECT_LT(since(begin), Milliseconds(2000));
        sleeper.start(nullptr);
    }
    wallclock::stepDuringWaits(0);
}

TEST(Time, DeadlinesDoNotWrap)
{
    for (int64_t const moment :
         {int64_t{0}, int64_t{4294}, int64_t{4295}, endOf32Bits - 1, endOf32Bits, endOf32Bits * 2}) {
        for (unsigned const ms : {0U, 1U, 200U, 999U, 1000U, 60000U, 4294967U, 4294968U, 0xFFFFFFFFU}) {
            wallclock::moveWorld(moment - wallclock::realSeconds());
            timeval before;
            gettimeofday(&before, nullptr);
            timespec deadline;
            ASSERT_TRUE(realTimeIn(ms, deadline));
            timeval after;
            gettimeofday(&after, nullptr);
            int64_t const us = int64_t{deadline.tv_sec} * 1000000 + deadline.tv_nsec / 1000 - int64_t{ms} * 1000;
            EXPECT_GE(us, int64_t{before.tv_sec} * 1000000 + before.tv_usec) << moment << " " << ms;
            EXPECT_LE(us, int64_t{after.tv_sec} * 1000000 + after.tv_usec) << moment << " " << ms;
            EXPECT_LT(deadline.tv_nsec, 1000000000);
            EXPECT_GE(deadline.tv_nsec, 0);
        }
    }
    wallclock::moveWorld(0);
}

TEST(Time, AProcessThatWasStoppedKeepsItsLink)
{
    zelobox::Listener listener;
    Child const host(fork());
    if (host.pid == 0) {
        ZeloStartApp({[](SbKey, uint8_t) { ZeloRequestPreviousController(); }, nullptr, nullptr, nullptr});
        ZeloRequestPreviousController(); // from now on a callback's request finds the manager
        pause();
        _exit(1);
    }
    zelobox::Connection connection = listener.accept();
    connection.send({IPC_PAYLOAD_RAW, IPC_BROWSER_CONFIG, configuration("en")});
    receiveRequest(connection);
    for (int i = 0; i < 5; ++i) {
        int status = 0;
        kill(host.pid, SIGSTOP);
        waitpid(host.pid, &status, WUNTRACED);
        EXPECT_TRUE(WIFSTOPPED(status));
        std::this_thread::sleep_for(Milliseconds(i * 100)); // with and without a time-out of the socket meanwhile
        connection.sendBytes(keyFrame());
        kill(host.pid, SIGCONT);
        receiveRequest(connection);
    }
}
