// What the host logs, asks the library for, and the middleware through it.
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "cobalt/ZeloCobalt.h"
#include "testkit/Callbacks.h"
#include "testkit/HostStandIn.h"
#include "testkit/Middleware.h"

namespace {

std::pair<unsigned, bool> volume()
{
    unsigned level = 1234;
    bool muted = true;
    EXPECT_TRUE(ZeloGetVolume(level, muted));
    return {level, muted};
}

std::pair<unsigned, unsigned> displaySize()
{
    unsigned width = 1234;
    unsigned height = 1234;
    EXPECT_TRUE(ZeloGetDisplaySize(width, height));
    return {width, height};
}

std::string language()
{
    std::string text;
    EXPECT_TRUE(ZeloGetEnv(ZeloEnvLanguage, text));
    return text;
}

void startWith(Middleware& middleware)
{
    middleware.serveStart([] { ZeloStartApp(callbacks::all()); });
}

standin::LogLine onlyLine()
{
    std::vector<standin::LogLine> const lines = standin::logLines();
    EXPECT_EQ(1U, lines.size());
    return lines.empty() ? standin::LogLine() : lines[0];
}

void expectLine(int hostLevel, int level, int line)
{
    standin::clearLog();
    ZeloLog(hostLevel, "a line of the host");
    standin::LogLine const logged = onlyLine();
    EXPECT_EQ(level, logged.level);
    EXPECT_EQ(line, logged.line);
    EXPECT_EQ("a line of the host", logged.message);
    EXPECT_EQ("cobalt/ZeloCobalt", logged.file);
}

} // namespace

TEST(Values, AreTheDefaultsBeforeAStart)
{
    EXPECT_EQ(std::make_pair(0U, false), volume());
    EXPECT_EQ(std::make_pair(0U, 0U), displaySize());
    EXPECT_EQ("", language());
}

TEST(Values, FollowTheMiddlewareAndStayAfterAStop)
{
    Middleware middleware;
    startWith(middleware);
    EXPECT_EQ(std::make_pair(0U, false), volume());
    EXPECT_EQ(std::make_pair(1920U, 1080U), displaySize());
    EXPECT_EQ(std::string(middlewareLanguage), language());
    middleware.sendVolume(0x12345678);
    middleware.sendMute(7);
    ConfigPayload config = configWith("fr");
    config.displayWidth = 1280;
    middleware.configure(config);
    ASSERT_TRUE(callbacks::waitForCalls(2));
    auto const expectValues = [] {
        EXPECT_EQ(std::make_pair(0x12345678U, true), volume());
        EXPECT_EQ(std::make_pair(1920U, 1080U), displaySize()); // of the first configuration, for good
        EXPECT_EQ("fr", language());
    };
    expectValues();
    ZeloStopApp();
    expectValues();
    std::thread start([] { ZeloStartApp({}); });
    middleware.acceptClient();
    expectValues();
    ZeloStopApp();
    start.join();
}

TEST(Requests, AreLostWithoutAManager)
{
    EXPECT_TRUE(ZeloSetVideoWindow(1, 2, 3, 4));
    EXPECT_TRUE(ZeloRequestPreviousController());
    Middleware middleware;
    startWith(middleware); // takes the hand-shake and the answer to the configuration, and nothing else came
    ZeloStopApp();
    EXPECT_TRUE(ZeloSetVideoWindow(1, 2, 3, 4));
    EXPECT_TRUE(ZeloRequestPreviousController());
    EXPECT_THROW(middleware.link().receive(), zelobox::PeerClosed);
}

TEST(Requests, AreLostWhileTheMiddlewareIsAway)
{
    Middleware middleware;
    startWith(middleware);
    {
        callbacks::Latch inCallback; // keeps the client from seeing that the link is gone, and from reconnecting
        middleware.sendKey(2);
        ASSERT_TRUE(inCallback.waitUntilEntered());
        middleware.link().close();
        for (int i = 0; i < 100; ++i) {
            EXPECT_TRUE(ZeloSetVideoWindow(1, 2, 3, 4));
            EXPECT_TRUE(ZeloRequestPreviousController());
        }
    }
    middleware.acceptClientAgain();
    EXPECT_TRUE(ZeloRequestPreviousController());
    EXPECT_EQ(std::vector<int>{IPC_PREVIOUS_CONTROLLER}, middleware.receiveTypes(1));
    ZeloStopApp();
}

TEST(Requests, ReachTheMiddlewareInOrder)
{
    Middleware middleware;
    startWith(middleware);
    EXPECT_TRUE(ZeloSetVideoWindow(1920, 1080, 300, 70000));
    EXPECT_TRUE(ZeloRequestPreviousController());
    zelobox::Frame const window = {
        IPC_PAYLOAD_RAW, IPC_VIDEO_WINDOW, {0x07, '\x80', 0x04, 0x38, 0x01, 0x2C, 0x11, 0x70, 0x00}};
    EXPECT_TRUE(window == middleware.link().receive());
    zelobox::Frame const mode = {IPC_PAYLOAD_STRING, IPC_VIDEO_WINDOW_MODE, {0, 0, 0, 3, 'b', 'o', 'x', 0}};
    EXPECT_TRUE(mode == middleware.link().receive());
    zelobox::Frame const controller = {IPC_PAYLOAD_UINT32, IPC_PREVIOUS_CONTROLLER, {0, 0, 0, 4}};
    EXPECT_TRUE(controller == middleware.link().receive());
    ZeloStopApp();
}

TEST(HostLog, HasALevelAndALineForEachOfTheHostsLevels)
{
    expectLine(1, 4, 42); // the least severe
    expectLine(2, 2, 45);
    expectLine(3, 1, 49);
    expectLine(4, 1, 49); // the most severe, too
}

TEST(HostLog, IgnoresEveryOtherLevel)
{
    for (int const level : {0, 5, -1, 6, 100, 0x7FFFFFFF, -0x7FFFFFFF - 1, 0x101}) {
        ZeloLog(level, "lost");
    }
    EXPECT_TRUE(standin::logLines().empty());
}

TEST(HostLog, NeverInterpretsAPerCentSign)
{
    ZeloLog(3, "100 %s of %n %d and 50%");
    EXPECT_EQ("%s", onlyLine().format);
    EXPECT_EQ("100 %s of %n %d and 50%", onlyLine().message);
}

TEST(HostLog, PassesLongAndEmptyTextsOn)
{
    std::string const text(3000, 'x');
    ZeloLog(1, text.c_str());
    ZeloLog(1, "");
    std::vector<standin::LogLine> const lines = standin::logLines();
    ASSERT_EQ(2U, lines.size());
    EXPECT_EQ(text, lines[0].message);
    EXPECT_EQ("", lines[1].message);
}
