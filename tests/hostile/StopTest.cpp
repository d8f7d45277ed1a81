// A stop out of every state in which the library can be; made to be repeated.
#include <sys/socket.h>

#include <thread>

#include "cobalt/ZeloCobalt.h"
#include "src/ipc/IPCFrame.h"
#include "testkit/QuietHost.h"
#include "tests/hostile/Rig.h"

using namespace rig;

namespace {

// The promise is 500 ms; the rest is for a machine that has other things to do.
Milliseconds const generous(5000);

void expectStop()
{
    auto const begin = Clock::now();
    ZeloStopApp();
    EXPECT_LT(since(begin), generous);
}

using StopWhile = Started;

/// A stop that comes before the start has a manager to show finds nothing to stop, so it is repeated.
void expectStopOfStart(std::thread& host, std::atomic<bool> const& returned)
{
    EXPECT_TRUE(waitUntil([&returned] {
        expectStop();
        return returned.load();
    }));
    host.join();
}

} // namespace

TEST_F(StopWhile, WaitingBetweenFrames)
{
    expectStop();
}

TEST_F(StopWhile, WaitingInAHeader)
{
    connection.sendBytes({IPCFrameHeader::Sync, 0});
    expectStop();
}

TEST_F(StopWhile, WaitingInAPayload)
{
    std::vector<char> bytes = keyFrame();
    bytes.pop_back();
    connection.sendBytes(bytes);
    expectStop();
}

TEST_F(StopWhile, BlockedInAWrite)
{
    for (int i = 0; i < 5000; ++i) {
        ZeloRequestPreviousController();
    }
    expectStop();
}

TEST_F(StopWhile, FramesArrive)
{
    std::thread middleware([this] {
        try {
            for (;;) {
                connection.sendBytes(keyFrame());
            }
        } catch (zelobox::PeerError const&) {
        }
    });
    int const before = keys;
    EXPECT_TRUE(waitUntil([before] { return keys > before; }));
    expectStop();
    middleware.join();
}

TEST_F(StopWhile, Dropping)
{
    connection.close();
    expectStop();
}

TEST_F(StopWhile, HostThreadsAskAndRequest)
{
    std::atomic<bool> done{false};
    std::thread host([&done] {
        std::string language;
        while (!done) {
            ZeloGetEnv(ZeloEnvLanguage, language);
            ZeloSetVideoWindow(1, 2, 3, 4);
        }
    });
    expectStop();
    done = true;
    host.join();
}

TEST(StopDuringStart, WithoutAServer)
{
    unsigned long const lines = quietHostLogLines;
    std::atomic<bool> returned{false};
    std::thread host([&returned] {
        ZeloStartApp({});
        returned = true;
    });
    EXPECT_TRUE(waitUntil([lines] { return quietHostLogLines >= lines + 2; })) << "the first attempt fails";
    expectStopOfStart(host, returned);
}

TEST(StopDuringStart, WithoutAConfiguration)
{
    zelobox::Listener listener;
    std::atomic<bool> returned{false};
    std::thread host([&returned] {
        ZeloStartApp({});
        returned = true;
    });
    zelobox::Connection const connection = listener.accept();
    expectStopOfStart(host, returned);
}
