// A stop ends in time whatever the client is waiting for, and is nobody's news.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "testkit/Stopping.h"

using namespace testlink;
using interpose::Takeover;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(StoppingInBackOff, EndsInTimeWithoutAWord)
{
    standin::setVirtualTime(1000000); // stands still, so the next attempt never comes
    std::optional<Link> link(std::in_place);
    link->start();
    ASSERT_TRUE(standin::waitForLog("ipc_connection - failed"));
    expectTimelyEnd(link);
    EXPECT_THAT(logged(), IsEmpty());
}

TEST(StoppingInConnect, EndsInTimeOnAFullBacklog)
{
    probe::Signal waiting;
    Takeover connecting(interpose::connect, [&](int fd, sockaddr const* address, socklen_t length) {
        waiting.give();
        return interpose::connect.real(fd, address, length);
    });
    zelobox::Listener const listener(zelobox::defaultSocketPath, 0);
    std::vector<zelobox::Descriptor> const fillers = fillBacklog();
    std::optional<Link> link(std::in_place);
    link->start();
    waiting.wait();
    expectTimelyEnd(link);
    EXPECT_THAT(logged(), IsEmpty());
}

TEST(StoppingByTheDestructor, IsAStopBeforeTheConnectionIsClosed)
{
    zelobox::Listener listener;
    RecordingHandler handler;
    std::optional<IPCMessengerClient> client(std::in_place);
    client->addHandler(&handler);
    client->start(nullptr);
    zelobox::Connection middleware = listener.accept();
    ASSERT_TRUE(handler.waitFor("connected"));
    standin::clearLog();
    expectTimely([&] { client.reset(); });
    EXPECT_THAT(handler.events(), ElementsAre("connected"));
    EXPECT_THAT(logged(), ElementsAre(line::closing));
    EXPECT_TRUE(middleware.waitForClose());
}

TEST_F(Stopping, BetweenFramesSaysThatItClosesTheConnection)
{
    connect();
    expectTimelyEnd(link);
    EXPECT_THAT(logged(), ElementsAre(line::closing));
    EXPECT_EQ("src/ipc/IPCMessengerClient", standin::logLines("Closing connection").at(0).file);
    EXPECT_TRUE(middleware.waitForClose());
}

TEST_F(Stopping, AtRestIsPrompt)
{
    connect();
    expectTimelyEnd(link, std::min(Milliseconds(50), timely::stopLimit));
}

TEST_F(Stopping, IsNotNeededToEndADroppedConnectionOfWhichAForkedChildHoldsACopy)
{
    std::atomic<int> used{-1};
    Takeover receiving(interpose::recv, [&](int fd, void* buffer, size_t size, int flags) {
        used = fd;
        return interpose::recv.real(fd, buffer, size, flags);
    });
    connect();
    ASSERT_TRUE(eventually([&] { return used >= 0; }));
    zelobox::Descriptor const copy(fcntl(used, F_DUPFD_CLOEXEC, 0));
    middleware.sendBytes(Bytes(8, 0));
    EXPECT_TRUE(middleware.waitForClose(Milliseconds(1000)));
    EXPECT_TRUE(link->handler.waitFor("connected", 2));
}

TEST_F(Stopping, LetsNoHandlerRunAfterwards)
{
    connect();
    link->stop();
    EXPECT_THROW(middleware.send(numberFrame(IPC_VOLUME, 1)), zelobox::PeerClosed);
    EXPECT_THAT(link->handler.events(), ElementsAre("connected"));
    link.reset();
    EXPECT_THAT(standin::logLines("New message received"), IsEmpty());
}

TEST_F(Stopping, WaitsForAHandlerThatIsJustRunning)
{
    probe::Signal running;
    probe::Signal mayEnd;
    std::atomic<bool> ended{false};
    link->handler.whenReceived = [&](IPCMessage const*) {
        running.give();
        mayEnd.wait();
        ended = true;
    };
    connect();
    middleware.send(numberFrame(IPC_VOLUME, 1));
    middleware.send(numberFrame(IPC_MUTE, 1));
    running.wait();
    std::thread stopping([&] {
        link->stop();
        EXPECT_TRUE(ended);
    });
    EXPECT_TRUE(eventually([&] { return !link->client.isRunning(); }));
    mayEnd.give();
    stopping.join();
    EXPECT_THAT(link->handler.events(), ElementsAre("connected", "message 39"));
}

TEST_F(Stopping, EndsInTimeWhenTheWallClockWasSetBack)
{
    // The sender has computed the end of its wait from a clock that was an hour ahead.
    probe::Signal waiting;
    Takeover telling(interpose::gettimeofday, [&](timeval* now, void* zone) {
        int const result = interpose::gettimeofday.real(now, zone);
        now->tv_sec += 3600;
        waiting.give();
        return result;
    });
    connect();
    waiting.wait();
    expectTimelyEnd(link);
}

TEST_F(Stopping, EndsInTimeWhenTheWallClockWasSetForward)
{
    probe::Signal waiting;
    Takeover telling(interpose::gettimeofday, [&](timeval* now, void* zone) {
        int const result = interpose::gettimeofday.real(now, zone);
        now->tv_sec -= 3600;
        waiting.give();
        return result;
    });
    connect();
    waiting.wait();
    expectTimelyEnd(link);
}
