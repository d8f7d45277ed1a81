// A stop of the whole library: what it ends, what it waits for, and how long it takes.
#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "cobalt/ZeloCobalt.h"
#include "testkit/Callbacks.h"
#include "testkit/HostStandIn.h"
#include "testkit/Middleware.h"
#include "testkit/Process.h"
#include "testkit/Signal.h"
#include "testkit/SystemStandIn.h"
#include "testkit/Timely.h"
#include "zelobox/protocol/Peer.h"

namespace {

void expectStopInTime()
{
    timely::expectTimely(&ZeloStopApp);
    EXPECT_TRUE(libraryThreadsEnd());
}

} // namespace

TEST(Stop, IsInTimeWhileTheMiddlewareNeverStopsSending)
{
    Middleware middleware;
    middleware.serveStart([] { ZeloStartApp(callbacks::all()); });
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

TEST(Stop, WithoutAStartDoesNothing)
{
    int const descriptors = openDescriptors();
    ZeloStopApp();
    ZeloStopApp();
    EXPECT_TRUE(standin::logLines().empty());
    EXPECT_EQ(descriptors, openDescriptors());
}

TEST(Stop, EndsAStartThatWaits)
{
    Middleware middleware;
    std::thread start([] { ZeloStartApp({}); });
    middleware.acceptClient();
    expectStopInTime();
    start.join();
    std::vector<standin::LogLine> const failed = standin::logLines("Configuration failed");
    ASSERT_EQ(1U, failed.size());
    EXPECT_EQ(1, failed[0].level);
    EXPECT_EQ(30, failed[0].line);
    EXPECT_EQ("cobalt/ZeloCobalt", failed[0].file);
    EXPECT_EQ(1U, standin::logLines("Started.....").size());
    EXPECT_TRUE(middleware.link().waitForClose());
}

TEST(Stop, WaitsForAStartThatIsBetweenTwoLooks)
{
    static thread_local bool isHost = false; // a sender without a clock sleeps as long
    Middleware middleware;
    probe::Signal between;
    probe::Signal mayLook;
    libc::onSleep([&](unsigned microseconds) {
        if (isHost && microseconds == 50000) {
            between.give();
            mayLook.wait();
        }
    });
    std::thread start([] {
        isHost = true;
        ZeloStartApp({});
    });
    middleware.acceptClient();
    between.wait();
    std::thread stop(&ZeloStopApp);
    EXPECT_TRUE(libc::waitForSleepsOf(1000, 3)); // the steps of its wait
    EXPECT_TRUE(standin::logLines("Closing connection").empty());
    mayLook.give();
    stop.join();
    start.join();
    libc::onSleep({});
}

TEST(Stop, IsInTimeWhileHostThreadsAskAndRequest)
{
    Middleware middleware;
    middleware.serveStart([] { ZeloStartApp(callbacks::all()); });
    std::atomic<bool> done{false};
    std::thread host([&done] {
        std::string language;
        while (!done) {
            ZeloGetEnv(ZeloEnvLanguage, language);
            ZeloSetVideoWindow(1, 2, 3, 4);
        }
    });
    expectStopInTime();
    done = true;
    host.join();
}
