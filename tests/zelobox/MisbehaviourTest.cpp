#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>

#include "tests/zelobox/BoxFixture.h"
#include "zelobox/protocol/FrameJson.h"

using namespace zelobox;
using program::BoxTest;
using testing::HasSubstr;

namespace {

Frame const request = {IPC_PAYLOAD_RAW, IPC_CONFIG_REQUEST, {}};

class MisbehavingBox : public BoxTest {
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

TEST(Misbehaviours, HaveANameEach)
{
    std::set<std::string> names;
    for (MisbehaviourInfo const& info : misbehaviourTable()) {
        EXPECT_TRUE(names.insert(info.name).second) << info.name;
        EXPECT_EQ(info.what, findMisbehaviour(info.name)->what);
        EXPECT_EQ(info.name, infoOf(info.what).name);
        EXPECT_THAT(misbehaviourNames(), HasSubstr(info.name));
    }
    EXPECT_EQ(static_cast<size_t>(Misbehaviour::DieOnLie) + 1, names.size());
    EXPECT_EQ(nullptr, findMisbehaviour("politeness"));
}

TEST_F(MisbehavingBox, DropsItsClientsAndTakesNewOnes)
{
    Connection client = connect();
    seen(1);
    box.misbehave(Misbehaviour::Drop);
    EXPECT_TRUE(closes(client));
    Connection next = connect();
    EXPECT_EQ(IPC_BROWSER_CONFIG, answerTo(next).type);
}

TEST_F(MisbehavingBox, SendsBytesThatAreNoFrame)
{
    Connection client = connect();
    seen(1);
    box.misbehave(Misbehaviour::Garbage);
    EXPECT_THROW(client.receive(), PeerError);
    EXPECT_THAT(seen(2).back(), testing::StartsWith("1 raw bytes "));
}

TEST_F(MisbehavingBox, LiesAboutTheLengthOfAFrame)
{
    for (auto const& [lie, length] :
         std::map<Misbehaviour, std::string>{{Misbehaviour::Lie, "000003e8"}, {Misbehaviour::LieHugely, "ffffffff"}}) {
        Connection client = connect();
        settle();
        box.misbehave(lie);
        EXPECT_EQ("6d010027" + length + "00000001", hexOf(client.receiveBytes(12)));
        EXPECT_TRUE(isSilent(client));
    }
}

TEST_F(MisbehavingBox, LiesInsideAWholeFrame)
{
    Connection client = connect();
    Connection other = connect();
    client.send(frameOf(IPCMessageAllowedMessageList({IPC_APP_LIFECYCLE})));
    seen(3);
    box.misbehave(Misbehaviour::LieInside);
    EXPECT_EQ(true, fieldsOf(client.receive())["inexact"]);
    EXPECT_TRUE(isSilent(other));
    EXPECT_EQ(IPC_BROWSER_CONFIG, answerTo(client).type);
}

TEST_F(MisbehavingBox, StallsUntilItIsToldOtherwise)
{
    Connection client = connect();
    seen(1);
    box.misbehave(Misbehaviour::Stall);
    client.send(request);
    box.sendToAll(request);
    Connection other = connect();
    other.send(request);
    EXPECT_TRUE(isSilent(client));
    EXPECT_TRUE(isSilent(other));
    box.misbehave(Misbehaviour::None);
    settle();
    EXPECT_EQ(IPC_CONFIG_REQUEST, client.receive().type);
    EXPECT_EQ(IPC_BROWSER_CONFIG, client.receive().type);
    EXPECT_EQ(IPC_BROWSER_CONFIG, other.receive().type);
}

TEST_F(MisbehavingBox, SendsSlowlyByteByByte)
{
    Connection client = connect();
    seen(1);
    auto const begin = EventLoop::Clock::now();
    box.misbehave(Misbehaviour::Slow);
    box.sendToAll(request);
    for (char const byte : bytesOf(request)) {
        while (isSilent(client)) { // a loop that comes late catches up
            ASSERT_TRUE(loop.turn(begin + std::chrono::seconds(30)));
        }
        EXPECT_EQ(byte, client.receiveBytes(1)[0]);
    }
    EXPECT_GE(EventLoop::Clock::now() - begin, Milliseconds(5 * 8));
    box.misbehave(Misbehaviour::None);
    EXPECT_EQ(IPC_BROWSER_CONFIG, answerTo(client).type);
}

TEST_F(MisbehavingBox, SplitsWhatItSendsIntoWritesOfOneByte)
{
    Connection client = connect();
    seen(1);
    box.misbehave(Misbehaviour::Split);
    Frame const frame = {IPC_PAYLOAD_RAW, IPC_CONFIG_REQUEST, std::vector<char>(5000)};
    box.sendToAll(frame);
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

TEST_F(MisbehavingBox, LeavesConfigurationRequestsUnanswered)
{
    Connection client = connect();
    box.misbehave(Misbehaviour::AnswerOnce);
    EXPECT_EQ(IPC_BROWSER_CONFIG, answerTo(client).type);
    client.send(request);
    EXPECT_TRUE(isSilent(client));
    Connection other = connect();
    EXPECT_EQ(IPC_BROWSER_CONFIG, answerTo(other).type);
    box.misbehave(Misbehaviour::Silent);
    Connection third = connect();
    third.send(request);
    EXPECT_TRUE(isSilent(third));
}

TEST_F(MisbehavingBox, SpoilsTheConfigurationThatItSendsAndNotItsOwn)
{
    Connection client = connect();
    IPCBrowserConfig config;
    box.misbehave(Misbehaviour::NoDisplay);
    ASSERT_TRUE(config.read(answerTo(client).payload));
    EXPECT_EQ(0, config.displayWidth);
    EXPECT_EQ(0, config.displayHeight);
    EXPECT_EQ(defaultConfig().language, config.language);
    box.misbehave(Misbehaviour::WrongKind);
    EXPECT_EQ(200, answerTo(client).kind);
    box.misbehave(Misbehaviour::CutConfig);
    EXPECT_FALSE(config.read(answerTo(client).payload));
    box.misbehave(Misbehaviour::None);
    EXPECT_EQ((Frame{IPC_PAYLOAD_RAW, IPC_BROWSER_CONFIG, payloadOf(defaultConfig())}), answerTo(client));
}

TEST_F(MisbehavingBox, SendsWhatNobodyHasSubscribedTo)
{
    Connection client = connect();
    seen(1);
    box.misbehave(Misbehaviour::IgnoreAllowedList);
    EXPECT_EQ(1U, box.send(request));
    EXPECT_EQ(request, client.receive());
}

TEST_F(MisbehavingBox, RefusesARepeatedList)
{
    Frame const list = frameOf(IPCMessageAllowedMessageList({IPC_VOLUME}));
    Connection client = connect();
    client.send(list);
    client.send(list);
    EXPECT_TRUE(isSilent(client));
    box.misbehave(Misbehaviour::RefuseRepeatedList);
    client.send(list);
    EXPECT_TRUE(closes(client));
}

TEST_F(MisbehavingBox, RefusesATypeThatIsNotKnown)
{
    Frame const unknown = {IPC_PAYLOAD_RAW, 999, {1}};
    Connection client = connect();
    client.send(unknown);
    EXPECT_TRUE(isSilent(client));
    box.misbehave(Misbehaviour::RefuseUnknown);
    EXPECT_EQ(IPC_BROWSER_CONFIG, answerTo(client).type);
    client.send(unknown);
    EXPECT_TRUE(closes(client));
}

TEST_F(MisbehavingBox, RefusesAFrameThatDoesNotComeAtOnce)
{
    Connection client = connect();
    box.misbehave(Misbehaviour::RefuseSplit);
    EXPECT_EQ(IPC_BROWSER_CONFIG, answerTo(client).type);
    client.sendBytes({'m', 0, 0, 23});
    EXPECT_TRUE(closes(client));
}

TEST_F(MisbehavingBox, ServesASingleClient)
{
    box.misbehave(Misbehaviour::SingleClient);
    Connection first = connect();
    Connection second = connect();
    EXPECT_TRUE(closes(second));
    EXPECT_EQ(IPC_BROWSER_CONFIG, answerTo(first).type);
    first.sendBytes({'m'});
    first.close();
    Connection third = connect(); // in the same turn as the end of the first
    EXPECT_EQ(IPC_BROWSER_CONFIG, answerTo(third).type);
}

TEST_F(MisbehavingBox, TiresOfItsClients)
{
    box.misbehave(Misbehaviour::Tire);
    for (int i = 0; i < 60; ++i) {
        Connection client = connect();
        EXPECT_EQ(IPC_BROWSER_CONFIG, answerTo(client).type);
    }
    Connection client = connect();
    EXPECT_TRUE(closes(client));
}

TEST_F(MisbehavingBox, LivesUnlessItIsToldOtherwise)
{
    EXPECT_EQ("lives", deathBy({'m', 1, 0, 39, 0, 0, 0, 4, 0}, true));
    EXPECT_EQ("lives", deathBy({'x', 0, 0, 0, 0, 0, 0, 0}, false));
    EXPECT_EQ("lives", deathBy({'m', 1, 0, 39, '\xFF', '\xFF', '\xFF', '\xFF', 0}, false));
}

TEST_F(MisbehavingBox, DiesOfAClientThatVanishes)
{
    box.misbehave(Misbehaviour::DieOnVanish);
    EXPECT_EQ("lives", deathBy(bytesOf(request), true));
    EXPECT_EQ("a client has gone in the middle of a frame", deathBy({'m', 1, 0, 39, 0, 0, 0, 4, 0}, true));
}

TEST_F(MisbehavingBox, DiesOfGarbage)
{
    box.misbehave(Misbehaviour::DieOnGarbage);
    EXPECT_EQ("a frame began with a wrong sync byte", deathBy({'x', 0, 0, 0, 0, 0, 0, 0}, false));
}

TEST_F(MisbehavingBox, DiesOfALie)
{
    box.misbehave(Misbehaviour::DieOnLie);
    EXPECT_EQ("lives", deathBy({'m', 1, 0, 39, 1, 0, 0, 0}, false));
    EXPECT_EQ("a client has announced a frame of 16777217 bytes", deathBy({'m', 1, 0, 39, 1, 0, 0, 1}, false));
}

TEST_F(MisbehavingBox, MakesAHabitOfWhatIsDoneOnce)
{
    box.misbehaveAlways(Misbehaviour::LieInside);
    box.misbehaveAlways(Misbehaviour::Drop);
    for (int i = 0; i < 2; ++i) {
        Connection client = connect();
        EXPECT_EQ(IPC_BROWSER_CONFIG, answerTo(client).type);
        EXPECT_TRUE(closes(client));
    }
    box.misbehave(Misbehaviour::None);
    Connection client = connect();
    EXPECT_EQ(IPC_BROWSER_CONFIG, answerTo(client).type);
    EXPECT_TRUE(isSilent(client));
}
