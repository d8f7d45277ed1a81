// How long a stop takes, whatever the middleware does.
#include <dlfcn.h>
#include <errno.h>
#include <gtest/gtest.h>
#include <linux/sockios.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <string>
#include <vector>

#include "cobalt/ZeloCobalt.h"
#include "simulator/Peer.h"
#include "tests/support/Callbacks.h"
#include "tests/support/HostStandIn.h"
#include "tests/support/Middleware.h"
#include "tests/support/Process.h"

namespace {

std::atomic<int> connectsInterrupted{0}; ///< connect() calls that ended without a connection
std::atomic<int> writesInterrupted{0};   ///< write() calls that timed out

template <typename Function> Function* next(char const* name)
{
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

void expectStopInTime()
{
    auto const begin = std::chrono::steady_clock::now();
    ZeloStopApp();
    auto const taken = std::chrono::steady_clock::now() - begin;
    EXPECT_LE(std::chrono::duration_cast<std::chrono::milliseconds>(taken).count(), 500);
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

/// A middleware that takes no more clients.
class FullDoor {
public:
    FullDoor() : listener(zelobox::defaultSocketPath, 0)
    {
        while (connectOnce()) {
        }
        EXPECT_EQ(EAGAIN, errno);
    }

private:
    bool connectOnce()
    {
        clients.emplace_back(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        std::string(zelobox::defaultSocketPath).copy(address.sun_path, sizeof address.sun_path - 1);
        return connect(clients.back().get(), reinterpret_cast<sockaddr const*>(&address), sizeof address) == 0;
    }

    zelobox::Listener listener;
    std::vector<zelobox::Descriptor> clients;
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

extern "C" int connect(int fd, sockaddr const* address, socklen_t length)
{
    static auto* const real = next<int(int, sockaddr const*, socklen_t)>("connect");
    int const result = real(fd, address, length);
    connectsInterrupted += result != 0 ? 1 : 0;
    return result;
}

extern "C" ssize_t write(int fd, void const* bytes, size_t size)
{
    static auto* const real = next<ssize_t(int, void const*, size_t)>("write");
    ssize_t const result = real(fd, bytes, size);
    writesInterrupted += result < 0 && errno == EAGAIN ? 1 : 0;
    return result;
}

TEST(StopInTimeWithoutAServer, InTheBackOff)
{
    WaitingStart const start;
    ASSERT_TRUE(standin::waitForLog("ipc_connection - failed (total 1 times), wait 1.00 sec before next retry"));
    expectStopInTime();
}

TEST(StopInTimeWithoutAServer, RightAfterTheStart)
{
    for (int i = 0; i < 20; ++i) {
        BlockingCall start;
        start.run([] { ZeloStartApp({}); });
        start.waitUntilBlocked();
        expectStopInTime();
        start.join();
    }
}

TEST(StopInTimeWithoutAServer, WhileTheDoorIsFull)
{
    FullDoor const door;
    int const before = connectsInterrupted;
    WaitingStart const start;
    EXPECT_TRUE(eventually([&] { return connectsInterrupted > before; }));
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
    start();
    int const before = writesInterrupted;
    for (int i = 0; i < 20000; ++i) {
        ZeloSetVideoWindow(i, i, i, i);
    }
    EXPECT_TRUE(eventually([&] { return writesInterrupted > before; }));
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
