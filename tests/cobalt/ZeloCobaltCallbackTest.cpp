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
#include "testkit/Timely.h"

namespace {

using timely::eventually;

using Calls = std::vector<std::string>;

void sendOneOfEach(Middleware& middleware)
{
    middleware.sendKey(0x00FF0026);
    middleware.sendLifecycle("onpause");
    middleware.sendLifecycle("onresume");
    middleware.sendVolume(5);
    middleware.sendMute(1);
}

Calls const oneOfEach = {"key 89 255", "pause", "resume", "volume", "volume"};

void useEverything()
{
    std::string text;
    unsigned number;
    bool flag;
    Capabilities capabilities;
    EXPECT_TRUE(ZeloGetEnv(ZeloEnvLanguage, text));
    EXPECT_EQ(std::string(middlewareLanguage), text);
    EXPECT_TRUE(ZeloGetVolume(number, flag));
    EXPECT_TRUE(ZeloGetDisplaySize(number, number));
    EXPECT_TRUE(ZeloGetUISize(number, number));
    EXPECT_TRUE(ZeloGetCapabilities(capabilities));
    EXPECT_EQ(0x24U, KeyCodeToSbKey(static_cast<STBCommand>(2)));
    EXPECT_EQ(standin::cdmObject(), ZeloCdm(nullptr));
    EXPECT_FALSE(ZeloCdmIsL1());
    ZeloLog(1, "inside");
    EXPECT_TRUE(ZeloSetVideoWindow(1, 2, 3, 4));
    EXPECT_TRUE(ZeloRequestPreviousController());
}

/// A running library, stopped at the end.
class Callback : public testing::Test {
protected:
    Callback()
    {
        middleware.serveStart([] { ZeloStartApp(callbacks::all()); });
    }
    ~Callback() override { ZeloStopApp(); }

    /// The link and the threads are those from before.
    void expectUnharmed()
    {
        callbacks::setBody({});
        size_t const before = callbacks::calls().size();
        middleware.sendKey(2);
        EXPECT_TRUE(callbacks::waitForCalls(before + 1));
        ZeloRequestPreviousController();
        EXPECT_EQ(std::vector<int>{IPC_PREVIOUS_CONTROLLER}, middleware.receiveTypes(1));
        EXPECT_EQ(1U, threadNames().count("ipc_cln"));
        EXPECT_EQ(1U, threadNames().count("ipc_snd"));
    }

    Middleware middleware;
};

void expectRefusals(char const* line, size_t count)
{
    std::vector<standin::LogLine> const lines = standin::logLines(line);
    EXPECT_EQ(count, lines.size());
    for (standin::LogLine const& refusal : lines) {
        EXPECT_EQ(1, refusal.level);
        EXPECT_EQ("cobalt/ZeloCobalt", refusal.file);
    }
}

} // namespace

TEST_F(Callback, MayUseEverythingButStartAndStop)
{
    callbacks::setBody(&useEverything);
    sendOneOfEach(middleware);
    ASSERT_TRUE(callbacks::waitForCalls(5));
    EXPECT_EQ(oneOfEach, callbacks::calls());
    EXPECT_EQ(5U, standin::logLines("inside").size());
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ((std::vector<int>{IPC_VIDEO_WINDOW, IPC_VIDEO_WINDOW_MODE, IPC_PREVIOUS_CONTROLLER}),
                  middleware.receiveTypes(3));
    }
}

TEST_F(Callback, IsNotMadeOfALostConnection)
{
    middleware.link().close();
    ASSERT_TRUE(standin::waitForLog("Disconnected IPC"));
    middleware.acceptClientAgain();
    EXPECT_EQ(Calls{}, callbacks::calls());
}

TEST_F(Callback, CannotStartOrStop)
{
    callbacks::setBody([] {
        ZeloStopApp();
        ZeloStartApp({});
    });
    sendOneOfEach(middleware);
    ASSERT_TRUE(callbacks::waitForCalls(5));
    expectRefusals("ZeloStopApp ignored: called on a thread of the library", 5);
    expectRefusals("ZeloStartApp ignored: called on a thread of the library", 5);
    expectUnharmed();
}

TEST_F(Callback, DoesNotRunOnceAStopHasReturned)
{
    std::atomic<bool> stopped{false};
    std::atomic<int> late{0};
    callbacks::setBody([&] { late += stopped ? 1 : 0; });
    for (int i = 0; i < 2000; ++i) {
        middleware.sendKey(2);
    }
    ASSERT_TRUE(callbacks::waitForCalls(1));
    ZeloStopApp();
    stopped = true;
    EXPECT_TRUE(libraryThreadsEnd());
    EXPECT_EQ(0, late);
    callbacks::setBody({});
}

TEST_F(Callback, IsTheLastThatIsReadWhenAStopWaitsForIt)
{
    BlockingCall stop;
    std::atomic<bool> entered{false};
    callbacks::setBody([&] {
        entered = true;
        EXPECT_TRUE(stop.waitUntilBlocked());
    });
    for (int i = 0; i < 10; ++i) {
        middleware.sendKey(2);
    }
    ASSERT_TRUE(eventually([&] { return entered.load(); }));
    stop.run(&ZeloStopApp);
    stop.join();
    EXPECT_EQ(Calls{"key 36 0"}, callbacks::calls());
    EXPECT_EQ(1U, standin::logLines("New message received: 26").size());
}

TEST_F(Callback, CannotStartOrStopWhileItsManagerIsBeingStopped)
{
    BlockingCall stop;
    std::atomic<bool> entered{false};
    callbacks::setBody([&] {
        entered = true;
        EXPECT_TRUE(stop.waitUntilBlocked());
        ZeloStopApp();
        ZeloStartApp({});
        EXPECT_TRUE(ZeloSetVideoWindow(1, 2, 3, 4));
    });
    middleware.sendKey(2);
    ASSERT_TRUE(eventually([&] { return entered.load(); }));
    stop.run(&ZeloStopApp);
    stop.join();
    expectRefusals("ZeloStopApp ignored: called on a thread of the library", 1);
    expectRefusals("ZeloStartApp ignored: called on a thread of the library", 1);
    EXPECT_TRUE(libraryThreadsEnd());
}

TEST_F(Callback, OfAReplacedManagerCannotStopTheNewOne)
{
    zelobox::Connection first = std::move(middleware.link());
    BlockingCall start;
    std::atomic<bool> entered{false};
    callbacks::setBody([&] {
        entered = true;
        EXPECT_TRUE(start.waitUntilBlocked());
        ZeloStopApp();
    });
    first.send(zelobox::frameOf(IPCMessageUnsignedInt(IPC_VOLUME, 1)));
    ASSERT_TRUE(eventually([&] { return entered.load(); }));
    start.run([] { ZeloStartApp(callbacks::all()); });
    middleware.acceptClient();
    middleware.configure();
    start.join();
    expectRefusals("ZeloStopApp ignored: called on a thread of the library", 1);
    EXPECT_TRUE(first.waitForClose());
    expectUnharmed();
}

TEST(Logger, CannotStartOrStopWhileAStartCallsIt)
{
    standin::onLog([](standin::LogLine const& line) {
        if (line.message == "Started.....") {
            ZeloStopApp();
            ZeloStartApp({});
        }
    });
    Middleware middleware;
    middleware.serveStart([] { ZeloStartApp({}); });
    expectRefusals("ZeloStopApp ignored: called inside another start or stop", 1);
    expectRefusals("ZeloStartApp ignored: called inside another start or stop", 1);
    standin::onLog({});
    ZeloStopApp();
}

TEST(Logger, CannotStopFromTheThreadThatConnects)
{
    standin::onLog([](standin::LogLine const& line) {
        if (line.message.find("Can not connect") == 0) {
            ZeloStopApp();
        }
    });
    std::thread start([] { ZeloStartApp({}); }); // nobody listens
    ASSERT_TRUE(standin::waitForLog("ZeloStopApp ignored: called on a thread of the library"));
    standin::onLog({});
    ZeloStopApp();
    start.join();
}
