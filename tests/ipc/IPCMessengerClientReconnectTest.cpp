// When the client tries again, and what is left of the connections before. The tests of the back-off own the clock:
// polling advances it, nobody sleeps.
#include <errno.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>

#include <thread>

#include "testkit/HostStandIn.h"
#include "testkit/Interpose.h"
#include "testkit/LinkSupport.h"
#include "testkit/Process.h"

using namespace testlink;
using interpose::Takeover;
using testing::Each;
using testing::ElementsAre;
using testing::SizeIs;

namespace {

/// Polls and attempts of a client, in virtual time.
class Timeline {
public:
    Timeline() { standin::setVirtualTime(start); }

    std::vector<unsigned> polls() const
    {
        std::lock_guard<std::mutex> const lock(mutex);
        return polled;
    }
    /// Milliseconds from one attempt to the next.
    std::vector<long long> gaps() const
    {
        std::lock_guard<std::mutex> const lock(mutex);
        return between;
    }
    bool waitForGaps(size_t count)
    {
        return eventually([&] { return gaps().size() >= count; }, Milliseconds(30000));
    }

private:
    int poll(useconds_t microseconds)
    {
        std::lock_guard<std::mutex> const lock(mutex);
        polled.push_back(microseconds);
        now += microseconds;
        standin::advanceVirtualTime(microseconds);
        return 0;
    }
    void attempt()
    {
        std::lock_guard<std::mutex> const lock(mutex);
        if (lastAttempt >= 0) {
            between.push_back((now - lastAttempt) / 1000);
        }
        lastAttempt = now;
    }

    static long long const start = 3600000000;
    mutable std::mutex mutex;
    long long now = start;
    long long lastAttempt = -1;
    std::vector<unsigned> polled;
    std::vector<long long> between;
    Takeover<int(useconds_t)> polling{interpose::usleep, [this](useconds_t us) { return poll(us); }};
    Takeover<int(int, sockaddr const*, socklen_t)> connecting{
        interpose::connect, [this](int fd, sockaddr const* address, socklen_t length) {
            attempt();
            return interpose::connect.real(fd, address, length);
        }};
};

std::string textOfFailure(size_t number)
{
    std::string const part = "failed (total " + std::to_string(number) + " times)";
    std::vector<standin::LogLine> const found = standin::logLines(part);
    return found.empty() ? "no line with " + part : found[0].message;
}

/// A joined thread may stay in the list for a moment.
testing::AssertionResult threadsComeBackTo(int expected)
{
    bool const back = eventually([expected] { return threadCount() == expected; });
    return back ? testing::AssertionSuccess()
                : testing::AssertionFailure() << threadCount() << " threads, not " << expected;
}

/// Threads that do something again and again for a scope.
class Busy {
public:
    Busy(int count, std::function<void()> const& action)
    {
        for (int i = 0; i < count; ++i) {
            threads.emplace_back([this, action] {
                while (!ended) {
                    action();
                    std::this_thread::yield();
                }
            });
        }
    }
    ~Busy()
    {
        ended = true;
        for (std::thread& thread : threads) {
            thread.join();
        }
    }

private:
    std::atomic<bool> ended{false};
    std::vector<std::thread> threads;
};

} // namespace

TEST(Reconnecting, WaitsLongerAfterEveryFailureAndPollsEvery200Milliseconds)
{
    Timeline timeline;
    Link link;
    link.start();
    ASSERT_TRUE(timeline.waitForGaps(5));
    link.stop();
    // The waits 1000, 1101, 1406, 1912 and 2618 ms, each up to the next poll.
    std::vector<long long> const gaps = timeline.gaps();
    EXPECT_THAT(std::vector<long long>(gaps.begin(), gaps.begin() + 5), ElementsAre(1000, 1200, 1600, 2000, 2800));
    EXPECT_THAT(timeline.polls(), SizeIs(testing::Ge(43U)));
    EXPECT_THAT(timeline.polls(), Each(200000U));
    EXPECT_EQ("ipc_connection - failed (total 1 times), wait 1.00 sec before next retry", textOfFailure(1));
    EXPECT_EQ("ipc_connection - failed (total 2 times), wait 1.10 sec before next retry", textOfFailure(2));
    EXPECT_EQ("ipc_connection - failed (total 3 times), wait 1.41 sec before next retry", textOfFailure(3));
}

namespace {

/// A middleware that accepts and drops, and a client that does not really pause. A connection lasts as long as the test
/// moves the clock.
class Dropping : public testing::Test {
protected:
    Dropping()
    {
        standin::setVirtualTime(3600000000);
        middleware = link->startAndAccept(listener);
    }

    /// Drops the connection. @return how many pauses there were before the next one
    unsigned pausesUntilTheNext()
    {
        unsigned const before = pauses;
        middleware.close();
        middleware = listener.accept();
        // The client looks at the clock after the connect, before it tells its handlers.
        EXPECT_TRUE(link->handler.waitFor("connected", ++connects));
        return pauses - before;
    }

    void expectPauses(int connections, unsigned each)
    {
        for (int i = 1; i <= connections; ++i) {
            EXPECT_EQ(each, pausesUntilTheNext()) << i;
        }
    }

    int pause(timespec const* duration, timespec* left)
    {
        EXPECT_EQ(0, duration->tv_sec);
        EXPECT_EQ(interrupted ? 70000000 : 200000000, duration->tv_nsec);
        bool const isFirst = !interrupted.exchange(interrupts && !interrupted);
        pauses += isFirst ? 1 : 0;
        if (interrupts && isFirst) {
            *left = {0, 70000000};
            errno = EINTR;
            return -1;
        }
        return 0;
    }

    size_t connects = 1;
    std::atomic<unsigned> pauses{0};
    std::atomic<bool> interrupts{false};
    std::atomic<bool> interrupted{false};
    Takeover<int(timespec const*, timespec*)> pausing{
        interpose::nanosleep, [this](timespec const* duration, timespec* left) { return pause(duration, left); }};
    zelobox::Listener listener;
    zelobox::Connection middleware{zelobox::Descriptor()};
    std::optional<Link> link{std::in_place};
};

} // namespace

TEST_F(Dropping, AfterSixteenFruitlessConnectionsEachFurtherAttemptWaitsASlice)
{
    expectPauses(15, 0);
    expectPauses(3, 1);
}

TEST_F(Dropping, IsForgottenAfterAFrame)
{
    expectPauses(15, 0);
    expectPauses(1, 1);
    middleware.send(numberFrame(IPC_VOLUME, 1));
    EXPECT_TRUE(link->handler.waitFor("message 39"));
    expectPauses(16, 0); // the one that brought a frame, and fifteen that brought nothing
    expectPauses(1, 1);
}

TEST_F(Dropping, IsForgottenAfterAConnectionThatHasLasted)
{
    expectPauses(15, 0);
    standin::advanceVirtualTime(199999);
    expectPauses(1, 1);
    standin::advanceVirtualTime(200000);
    expectPauses(16, 0);
    expectPauses(1, 1);
}

TEST_F(Dropping, WaitsForTheRestOfASliceThatASignalHasInterrupted)
{
    expectPauses(15, 0);
    interrupts = true;
    expectPauses(2, 1);
    EXPECT_EQ(4U, pausing.count());
}

TEST(DroppingUnderSignals, CountsAConnectionWhoseReadsAreInterrupted)
{
    Takeover receiving(interpose::recv, [interrupts = false](int fd, void* buffer, size_t size, int flags) mutable {
        interrupts = !interrupts;
        errno = EINTR;
        return interrupts ? -1 : interpose::recv.real(fd, buffer, size, flags);
    });
    std::atomic<unsigned> pauses{0};
    Takeover pausing(interpose::nanosleep, [&](timespec const*, timespec*) {
        ++pauses;
        return 0;
    });
    standin::setVirtualTime(3600000000);
    zelobox::Listener listener;
    Link link;
    link.startAndAccept(listener).close();
    for (int i = 2; i <= 16; ++i) {
        listener.accept().close();
    }
    zelobox::Connection const last = listener.accept();
    EXPECT_EQ(1U, pauses);
    EXPECT_TRUE(link.handler.waitFor("connected", 17));
}

TEST(Reconnecting, BeginsAnewAfterASuccess)
{
    standin::setVirtualTime(3600000000);
    Link link;
    link.start();
    ASSERT_TRUE(standin::waitForLog("total 1 times"));
    standin::advanceVirtualTime(1000000);
    ASSERT_TRUE(standin::waitForLog("total 2 times"));
    std::optional<zelobox::Listener> listener(std::in_place);
    standin::advanceVirtualTime(1101000);
    zelobox::Connection middleware = listener->accept();
    ASSERT_TRUE(link.handler.waitFor("connected"));
    standin::clearLog();
    listener.reset();
    middleware.close();
    ASSERT_TRUE(standin::waitForLog("ipc_connection - failed"));
    EXPECT_THAT(logged(), ElementsAre(line::peerClosed, line::cannotConnect, line::firstFailure));
}

TEST(Ownership, FiftyDropsLeaveOneConnection)
{
    zelobox::Listener listener;
    Link link;
    zelobox::Connection middleware = link.startAndAccept(listener);
    int const descriptorsBefore = openDescriptors();
    int const threadsBefore = threadCount();
    for (size_t i = 1; i <= 50; ++i) {
        middleware.send(numberFrame(IPC_VOLUME, 1)); // connections that bring nothing are not made in such a hurry
        ASSERT_TRUE(link.handler.waitFor("message 39", i));
        middleware.close();
        middleware = listener.accept();
        ASSERT_TRUE(link.handler.waitFor("connected", i + 1));
    }
    EXPECT_EQ(descriptorsBefore, openDescriptors());
    EXPECT_TRUE(threadsComeBackTo(threadsBefore));
}

TEST(Ownership, AClientThatIsStartedAgainClosesWhatItsStopLeftOpen)
{
    zelobox::Listener listener;
    Link link;
    zelobox::Connection first = link.startAndAccept(listener);
    int const before = openDescriptors();
    link.stop();
    link.start();
    zelobox::Connection const second = listener.accept();
    ASSERT_TRUE(link.handler.waitFor("connected", 2));
    EXPECT_TRUE(first.waitForClose());
    first.close();
    EXPECT_EQ(before, openDescriptors());
}

TEST(Contention, HandlersComeAndGoWhileMessagesArrive)
{
    zelobox::Listener listener;
    RecordingHandler guest;
    Link link;
    zelobox::Connection middleware = link.startAndAccept(listener);
    size_t const messages = 500;
    {
        Busy const changing(2, [&] {
            link.client.addHandler(&guest);
            link.client.setAllowedMessages({IPC_VOLUME});
            link.client.removeHandler(&guest);
        });
        for (uint32_t i = 0; i < messages; ++i) {
            middleware.send(numberFrame(IPC_VOLUME, i));
        }
        ASSERT_TRUE(link.handler.waitFor("message 39", messages, Milliseconds(30000)));
    }
    EXPECT_GE(messages, guest.frames().size());
}
