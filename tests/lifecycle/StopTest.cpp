// How long a stop takes, whatever the middleware does.
#include <errno.h>
#include <gtest/gtest.h>
#include <linux/sockios.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <atomic>
#include <vector>

#include "cobalt/ZeloCobalt.h"
#include "testkit/Backlog.h"
#include "testkit/Callbacks.h"
#include "testkit/HostStandIn.h"
#include "testkit/Interpose.h"
#include "testkit/Middleware.h"
#include "testkit/Process.h"
#include "testkit/Timely.h"
#include "zelobox/protocol/Peer.h"

namespace {

using timely::eventually;

void expectStopInTime()
{
    timely::expectTimely(&ZeloStopApp);
    EXPECT_TRUE(libraryThreadsEnd());
}

/// Waits until the library has taken everything that was sent.
void waitUntilRead(zelobox::Connection& link)
{
    EXPECT_TRUE(eventually([&] {
        int unread = -1;
        return ioctl(link.descriptor(), SIOCOUTQ, &unread) == 0 && unread == 0;
    }));
}

/// A start that waits, and is ended by the stop.
class WaitingStart {
public:
    WaitingStart() : start([] { ZeloStartApp({}); }) {}
    ~WaitingStart() { start.join(); }

private:
    std::thread start;
};

class StopInTime : public testing::Test {
protected:
    void start()
    {
        middleware.serveStart([] { ZeloStartApp(callbacks::all()); });
    }
    void sendBytes(std::vector<char> const& bytes)
    {
        middleware.link().sendBytes(bytes);
        waitUntilRead(middleware.link());
    }

    Middleware middleware;
};

} // namespace

TEST(StopInTimeWithoutAServer, InTheBackOff)
{
    WaitingStart const start;
    ASSERT_TRUE(standin::waitForLog("ipc_connection - failed (total 1 times), wait 1.00 sec before next retry"));
    expectStopInTime();
}

TEST(StopInTimeWithoutAServer, RightAfterTheStart)
{
    for (int i = 0; i < 20; ++i) {
        WaitingStart const start;
        ASSERT_TRUE(eventually([] { return threadNames().count("ipc_cln") == 1; }));
        expectStopInTime();
    }
}

TEST(StopInTimeWithoutAServer, WhileTheDoorIsFull)
{
    zelobox::Listener const listener(zelobox::defaultSocketPath, 0);
    std::vector<zelobox::Descriptor> const fillers = fillBacklog();
    std::atomic<int> timeouts{0};
    interpose::Takeover counting(interpose::connect, [&](int fd, sockaddr const* address, socklen_t length) {
        int const result = interpose::connect.real(fd, address, length);
        timeouts += result != 0 ? 1 : 0;
        return result;
    });
    WaitingStart const start;
    EXPECT_TRUE(eventually([&] { return timeouts > 0; }));
    expectStopInTime();
}

TEST_F(StopInTime, BeforeTheConfiguration)
{
    WaitingStart const waiting;
    middleware.acceptClient();
    expectStopInTime();
}

TEST_F(StopInTime, BetweenFrames)
{
    start();
    expectStopInTime();
    EXPECT_EQ(1U, standin::logLines("Closing connection").size());
    EXPECT_TRUE(middleware.link().waitForClose());
}

TEST_F(StopInTime, InsideAHeader)
{
    start();
    sendBytes({0x6D, 1, 0});
    expectStopInTime();
    EXPECT_TRUE(middleware.link().waitForClose());
}

TEST_F(StopInTime, InsideAPayload)
{
    start();
    sendBytes({0x6D, 1, 0, 26, 0, 0, 0, 4, 0, 0});
    expectStopInTime();
    EXPECT_TRUE(middleware.link().waitForClose());
}

TEST_F(StopInTime, InsideAPayloadThatIsFarFromComplete)
{
    start();
    sendBytes({0x6D, 0, 0, 24, 0x04, 0, 0, 0, 1, 2, 3});
    expectStopInTime();
}

TEST_F(StopInTime, WhileTheMiddlewareDoesNotReadManyRequests)
{
    std::atomic<int> timeouts{0};
    interpose::Takeover counting(interpose::write, [&](int fd, void const* bytes, size_t size) {
        ssize_t const result = interpose::write.real(fd, bytes, size);
        timeouts += result < 0 && errno == EAGAIN ? 1 : 0;
        return result;
    });
    start();
    for (int i = 0; i < 20000; ++i) {
        ZeloSetVideoWindow(i, i, i, i);
    }
    EXPECT_TRUE(eventually([&] { return timeouts > 0; }));
    expectStopInTime();
}

TEST_F(StopInTime, WhileTheMiddlewareNeverStopsSending)
{
    start();
    std::thread sender([&] {
        try {
            for (;;) {
                middleware.sendVolume(1);
            }
        } catch (zelobox::PeerClosed const&) {
        }
    });
    EXPECT_TRUE(callbacks::waitForCalls(100));
    expectStopInTime();
    sender.join();
}

TEST_F(StopInTime, AfterTheMiddlewareHasClosed)
{
    start();
    middleware.link().close();
    ASSERT_TRUE(standin::waitForLog("Disconnected IPC"));
    expectStopInTime();
}
