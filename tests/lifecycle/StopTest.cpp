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

using timely::eventually;

void expectStopInTime()
{
    timely::expectTimely(&ZeloStopApp);
    EXPECT_TRUE(libraryThreadsEnd());
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

    Middleware middleware;
};

} // namespace

TEST(StopInTimeWithoutAServer, RightAfterTheStart)
{
    for (int i = 0; i < 20; ++i) {
        WaitingStart const start;
        ASSERT_TRUE(eventually([] { return threadNames().count("ipc_cln") == 1; }));
        expectStopInTime();
    }
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
    ZeloStopApp();
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
    Middleware middleware;
    probe::Signal between;
    probe::Signal mayLook;
    libc::onSleep([&](unsigned microseconds) {
        if (microseconds == 50000) {
            between.give();
            mayLook.wait();
        }
    });
    std::thread start([] { ZeloStartApp({}); });
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

TEST_F(StopInTime, WhileHostThreadsAskAndRequest)
{
    start();
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
