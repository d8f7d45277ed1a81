#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>

#include "tests/zelobox/middleware/MiddlewareFixture.h"
#include "zelobox/protocol/BrowserConfigPayload.h"
#include "zelobox/protocol/FrameJson.h"

using namespace zelobox;
using program::MiddlewareFixture;
using testing::HasSubstr;

namespace {

Frame const request = {IPC_PAYLOAD_RAW, IPC_CONFIG_REQUEST, {}};

class FaultyMiddleware : public MiddlewareFixture {
protected:
    /// Has the middleware take all that is on its way.
    void settle()
    {
        while (loop.turn(EventLoop::Clock::now())) {
        }
    }

    bool closes(Connection& client)
    {
        settle();
        return client.waitForClose(Milliseconds(0));
    }

    bool isSilent(Connection& client)
    {
        settle();
        return client.isSilentFor(Milliseconds(0));
    }

    /// @return the answer to one more request
    Frame answerTo(Connection& client)
    {
        client.send(request);
        settle();
        return client.receive();
    }

    std::string deathBy(std::vector<char> const& bytes, bool vanishes)
    {
        Connection client = connect();
        client.sendBytes(bytes);
        if (vanishes) {
            client.close();
        }
        try {
            settle();
        } catch (Server::Died const& death) {
            return death.what();
        }
        return "lives";
    }
};

} // namespace

TEST(FaultModes, HaveANameEach)
{
    std::set<std::string> names;
    for (FaultModeInfo const& info : faultModeTable()) {
        EXPECT_TRUE(names.insert(info.name).second) << info.name;
        EXPECT_EQ(info.what, findFaultMode(info.name)->what);
        EXPECT_EQ(info.name, infoOf(info.what).name);
        EXPECT_THAT(faultModeNames(), HasSubstr(info.name));
    }
    EXPECT_EQ(static_cast<size_t>(FaultMode::DieOnLie) + 1, names.size());
    EXPECT_EQ(nullptr, findFaultMode("politeness"));
}

TEST_F(FaultyMiddleware, DropsItsClientsAndTakesNewOnes)
{
    Connection client = connect();
    seen(1);
    middleware.apply(FaultMode::Drop);
    EXPECT_TRUE(closes(client));
    Connection next = connect();
    EXPECT_EQ(IPC_BROWSER_CONFIG, answerTo(next).type);
}

TEST_F(FaultyMiddleware, SendsBytesThatAreNoFrame)
{
    Connection client = connect();
    seen(1);
    middleware.apply(FaultMode::Garbage);
    EXPECT_THROW(client.receive(), PeerError);
    EXPECT_THAT(seen(2).back(), testing::StartsWith("1 raw bytes "));
}

TEST_F(FaultyMiddleware, LiesAboutTheLengthOfAFrame)
{
    for (auto const& [lie, length] :
         std::map<FaultMode, std::string>{{FaultMode::Lie, "000003e8"}, {FaultMode::LieHugely, "ffffffff"}}) {
        Connection client = connect();
        settle();
        middleware.apply(lie);
        EXPECT_EQ("6d010027" + length + "00000001", hexOf(client.receiveBytes(12)));
        EXPECT_TRUE(isSilent(client));
    }
}

TEST_F(FaultyMiddleware, LiesInsideAWholeFrame)
{
    Connection client = connect();
    Connection other = connect();
    client.send(frameOf(IPCMessageAllowedMessageList({IPC_APP_LIFECYCLE})));
    seen(3);
    middleware.apply(FaultMode::LieInside);
    EXPECT_EQ(true, fieldsOf(client.receive())["inexact"]);
    EXPECT_TRUE(isSilent(other));
    EXPECT_EQ(IPC_BROWSER_CONFIG, answerTo(client).type);
}

TEST_F(FaultyMiddleware, StallsUntilItIsToldOtherwise)
{
    Connection client = connect();
    seen(1);
    middleware.apply(FaultMode::Stall);
    client.send(request);
    middleware.sendToAll(request);
    Connection other = connect();
    other.send(request);
    EXPECT_TRUE(isSilent(client));
    EXPECT_TRUE(isSilent(other));
    middleware.apply(FaultMode::None);
    settle();
    EXPECT_EQ(IPC_CONFIG_REQUEST, client.receive().type);
    EXPECT_EQ(IPC_BROWSER_CONFIG, client.receive().type);
    EXPECT_EQ(IPC_BROWSER_CONFIG, other.receive().type);
}

TEST_F(FaultyMiddleware, SendsSlowlyByteByByte)
{
    Connection client = connect();
    seen(1);
    auto const begin = EventLoop::Clock::now();
    middleware.apply(FaultMode::Slow);
    middleware.sendToAll(request);
    for (char const byte : bytesOf(request)) {
        while (isSilent(client)) { // a loop that comes late catches up
            ASSERT_TRUE(loop.turn(begin + std::chrono::seconds(30)));
        }
        EXPECT_EQ(byte, client.receiveBytes(1)[0]);
    }
    EXPECT_GE(EventLoop::Clock::now() - begin, Milliseconds(5 * 8));
    middleware.apply(FaultMode::None);
    EXPECT_EQ(IPC_BROWSER_CONFIG, answerTo(client).type);
}

TEST_F(FaultyMiddleware, SplitsWhatItSendsIntoWritesOfOneByte)
{
    Connection client = connect();
    seen(1);
    middleware.apply(FaultMode::Split);
    Frame const frame = {IPC_PAYLOAD_RAW, IPC_CONFIG_REQUEST, std::vector<char>(5000)};
    middleware.sendToAll(frame);
    int arrived = 0; // the kernel counts each write as a buffer, so it does not take that many
    ASSERT_EQ(0, ioctl(client.descriptor(), FIONREAD, &arrived));
    EXPECT_LT(0, arrived);
    EXPECT_GT(5000, arrived);
    std::vector<char> received;
    while (received.size() < bytesOf(frame).size()) {
        received.push_back(client.receiveBytes(1)[0]);
        settle();
    }
    EXPECT_EQ(bytesOf(frame), received);
}

TEST_F(FaultyMiddleware, LeavesConfigurationRequestsUnanswered)
{
    Connection client = connect();
    middleware.apply(FaultMode::AnswerOnce);
    EXPECT_EQ(IPC_BROWSER_CONFIG, answerTo(client).type);
    client.send(request);
    EXPECT_TRUE(isSilent(client));
    Connection other = connect();
    EXPECT_EQ(IPC_BROWSER_CONFIG, answerTo(other).type);
    middleware.apply(FaultMode::Silent);
    Connection third = connect();
    third.send(request);
    EXPECT_TRUE(isSilent(third));
}

TEST_F(FaultyMiddleware, SpoilsTheConfigurationThatItSendsAndNotItsOwn)
{
    Connection client = connect();
    IPCBrowserConfig config;
    middleware.apply(FaultMode::NoDisplay);
    ASSERT_TRUE(config.read(answerTo(client).payload));
    EXPECT_EQ(0, config.displayWidth);
    EXPECT_EQ(0, config.displayHeight);
    EXPECT_EQ(defaultConfig().language, config.language);
    middleware.apply(FaultMode::WrongKind);
    EXPECT_EQ(200, answerTo(client).kind);
    middleware.apply(FaultMode::CutConfig);
    EXPECT_FALSE(config.read(answerTo(client).payload));
    middleware.apply(FaultMode::None);
    EXPECT_EQ((Frame{IPC_PAYLOAD_RAW, IPC_BROWSER_CONFIG, payloadOf(defaultConfig())}), answerTo(client));
}

TEST_F(FaultyMiddleware, SendsWhatNobodyHasSubscribedTo)
{
    Connection client = connect();
    seen(1);
    middleware.apply(FaultMode::IgnoreAllowedList);
    EXPECT_EQ(1U, middleware.send(request));
    EXPECT_EQ(request, client.receive());
}

TEST_F(FaultyMiddleware, RefusesARepeatedList)
{
    Frame const list = frameOf(IPCMessageAllowedMessageList({IPC_VOLUME}));
    Connection client = connect();
    client.send(list);
    client.send(list);
    EXPECT_TRUE(isSilent(client));
    middleware.apply(FaultMode::RefuseRepeatedList);
    client.send(list);
    EXPECT_TRUE(closes(client));
}

TEST_F(FaultyMiddleware, RefusesATypeThatIsNotKnown)
{
    Frame const unknown = {IPC_PAYLOAD_RAW, 999, {1}};
    Connection client = connect();
    client.send(unknown);
    EXPECT_TRUE(isSilent(client));
    middleware.apply(FaultMode::RefuseUnknown);
    EXPECT_EQ(IPC_BROWSER_CONFIG, answerTo(client).type);
    client.send(unknown);
    EXPECT_TRUE(closes(client));
}

TEST_F(FaultyMiddleware, RefusesAFrameThatDoesNotComeAtOnce)
{
    Connection client = connect();
    middleware.apply(FaultMode::RefuseSplit);
    EXPECT_EQ(IPC_BROWSER_CONFIG, answerTo(client).type);
    client.sendBytes({'m', 0, 0, 23});
    EXPECT_TRUE(closes(client));
}

TEST_F(FaultyMiddleware, ServesASingleClient)
{
    middleware.apply(FaultMode::SingleClient);
    Connection first = connect();
    Connection second = connect();
    EXPECT_TRUE(closes(second));
    EXPECT_EQ(IPC_BROWSER_CONFIG, answerTo(first).type);
    first.sendBytes({'m'});
    first.close();
    Connection third = connect(); // in the same turn as the end of the first
    EXPECT_EQ(IPC_BROWSER_CONFIG, answerTo(third).type);
}

TEST_F(FaultyMiddleware, TiresOfItsClients)
{
    middleware.apply(FaultMode::Tire);
    for (int i = 0; i < 60; ++i) {
        Connection client = connect();
        EXPECT_EQ(IPC_BROWSER_CONFIG, answerTo(client).type);
    }
    Connection client = connect();
    EXPECT_TRUE(closes(client));
}

TEST_F(FaultyMiddleware, LivesUnlessItIsToldOtherwise)
{
    EXPECT_EQ("lives", deathBy({'m', 1, 0, 39, 0, 0, 0, 4, 0}, true));
    EXPECT_EQ("lives", deathBy({'x', 0, 0, 0, 0, 0, 0, 0}, false));
    EXPECT_EQ("lives", deathBy({'m', 1, 0, 39, '\xFF', '\xFF', '\xFF', '\xFF', 0}, false));
}

TEST_F(FaultyMiddleware, DiesOfAClientThatVanishes)
{
    middleware.apply(FaultMode::DieOnVanish);
    EXPECT_EQ("lives", deathBy(bytesOf(request), true));
    EXPECT_EQ("a client has gone in the middle of a frame", deathBy({'m', 1, 0, 39, 0, 0, 0, 4, 0}, true));
}

TEST_F(FaultyMiddleware, DiesOfGarbage)
{
    middleware.apply(FaultMode::DieOnGarbage);
    EXPECT_EQ("a frame began with a wrong sync byte", deathBy({'x', 0, 0, 0, 0, 0, 0, 0}, false));
}

TEST_F(FaultyMiddleware, DiesOfALie)
{
    middleware.apply(FaultMode::DieOnLie);
    EXPECT_EQ("lives", deathBy({'m', 1, 0, 39, 1, 0, 0, 0}, false));
    EXPECT_EQ("a client has announced a frame of 16777217 bytes", deathBy({'m', 1, 0, 39, 1, 0, 0, 1}, false));
}

TEST_F(FaultyMiddleware, RepeatsWhatIsDoneOnceForEachClient)
{
    middleware.applyAlways(FaultMode::LieInside);
    middleware.applyAlways(FaultMode::Drop);
    for (int i = 0; i < 2; ++i) {
        Connection client = connect();
        EXPECT_EQ(IPC_BROWSER_CONFIG, answerTo(client).type);
        EXPECT_TRUE(closes(client));
    }
    middleware.apply(FaultMode::None);
    Connection client = connect();
    EXPECT_EQ(IPC_BROWSER_CONFIG, answerTo(client).type);
    EXPECT_TRUE(isSilent(client));
}
