// From whole frames to messages in the handlers' hands, and what handlers may rely on and do.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <array>

#include "testkit/Allocations.h"
#include "testkit/DeathTests.h"
#include "testkit/HostStandIn.h"
#include "testkit/LinkSupport.h"

using namespace testlink;
using testing::ElementsAre;

namespace {

/// Lets the client call handlers in all three events, with one event doing something.
void playAllEvents(std::function<void(Link&)> const& prepare)
{
    zelobox::Listener listener;
    Link link;
    prepare(link);
    zelobox::Connection middleware = link.startAndAccept(listener);
    middleware.send(numberFrame(IPC_VOLUME, 1));
    EXPECT_TRUE(link.handler.waitFor("message 39"));
    middleware.close();
    EXPECT_TRUE(link.handler.waitFor("disconnected"));
}

/// As playAllEvents(), in a process that dies of it; the report goes where the test can see it.
void dieOf(std::function<void(Link&)> const& prepare)
{
    alarm(20);
    dup2(STDERR_FILENO, STDOUT_FILENO);
    playAllEvents(prepare);
}

class HandlersDeathTest : public testing::Test {
protected:
    HandlersDeathTest() { standin::setDeathTestStyle(); }
};

char const deadlock[] = "ASSERT \\(res != 35\\) ret=35 on inc/private/pthread_helper:178";

class Dispatch : public testing::Test {
protected:
    void connect()
    {
        middleware = link.startAndAccept(listener);
        standin::clearLog();
    }

    zelobox::Listener listener;
    zelobox::Connection middleware{zelobox::Descriptor()};
    Link link; // goes first, without an event that a test did not wait for
};

} // namespace

TEST(Handlers, AreCalledInSetOrderInEveryEvent)
{
    zelobox::Listener listener;
    std::array<RecordingHandler, 3> handlers;
    std::vector<size_t> order;
    IPCMessengerClient client;
    for (size_t i = handlers.size(); i-- > 0;) {
        handlers[i].whenConnected = handlers[i].whenDisconnected = [&order, i] { order.push_back(i); };
        handlers[i].whenReceived = [&order, i](IPCMessage const*) { order.push_back(i); };
        client.addHandler(&handlers[i]);
    }
    client.start(nullptr);
    zelobox::Connection middleware = listener.accept();
    middleware.send(numberFrame(IPC_VOLUME, 1));
    ASSERT_TRUE(handlers[2].waitFor("message 39"));
    middleware.close();
    ASSERT_TRUE(handlers[2].waitFor("disconnected"));
    ASSERT_TRUE(handlers[2].waitFor("connected", 2));
    client.stop();
    EXPECT_THAT(order, ElementsAre(0, 1, 2, 0, 1, 2, 0, 1, 2, 0, 1, 2));
}

// The handler lock is held in every event: to take it again is reported as a deadlock.

TEST_F(HandlersDeathTest, MustNotAddHandlersFromOnConnected)
{
    EXPECT_EXIT(dieOf([](Link& link) { link.handler.whenConnected = [&] { link.client.addHandler(&link.handler); }; }),
                testing::KilledBySignal(SIGKILL), deadlock);
}

TEST_F(HandlersDeathTest, MustNotAddHandlersFromOnNewMessageReceived)
{
    EXPECT_EXIT(dieOf([](Link& link) {
                    link.handler.whenReceived = [&](IPCMessage const*) { link.client.addHandler(&link.handler); };
                }),
                testing::KilledBySignal(SIGKILL), deadlock);
}

TEST_F(HandlersDeathTest, MustNotRemoveHandlersFromOnDisconnected)
{
    EXPECT_EXIT(
        dieOf([](Link& link) { link.handler.whenDisconnected = [&] { link.client.removeHandler(&link.handler); }; }),
        testing::KilledBySignal(SIGKILL), deadlock);
}

TEST(Handlers, MayPushFromEveryEvent)
{
    zelobox::Listener listener;
    Link link;
    link.handler.whenConnected = [&] { link.push(new IPCMessageUnsignedInt(IPC_CLIENT_STATE, 1)); };
    link.handler.whenReceived = [&](IPCMessage const*) { link.push(new IPCMessageUnsignedInt(IPC_CLIENT_STATE, 2)); };
    link.handler.whenDisconnected = [&] { link.push(new CountedMessage(IPC_CLIENT_STATE, 3)); };
    zelobox::Connection middleware = link.startAndAccept(listener);
    EXPECT_EQ(numberFrame(IPC_CLIENT_STATE, 1), middleware.receive());
    middleware.send(numberFrame(IPC_VOLUME, 1));
    EXPECT_EQ(numberFrame(IPC_CLIENT_STATE, 2), middleware.receive());
    middleware.close();
    // What is pushed when the connection is gone is destroyed with the queue.
    zelobox::Connection again = listener.accept();
    EXPECT_EQ(numberFrame(IPC_CLIENT_STATE, 1), again.receive());
    EXPECT_EQ(0, CountedMessage::living);
    EXPECT_TRUE(again.isSilentFor(Milliseconds(100)));
}

TEST(Handlers, MayReplaceTheAllowedSetFromOnConnected)
{
    std::set<IPCMessageType> next = {IPC_VOLUME};
    zelobox::Listener listener;
    Link link;
    link.handler.whenConnected = [&] {
        link.client.setAllowedMessages(next);
        link.push(new IPCMessage(IPC_PAYLOAD_RAW, IPC_CONFIG_REQUEST));
        next = {IPC_MUTE};
    };
    zelobox::Frame const request = {IPC_PAYLOAD_RAW, IPC_CONFIG_REQUEST, {}};
    zelobox::Frame const onlyVolume = {IPC_PAYLOAD_RAW, IPC_ALLOWED_MESSAGE_LIST, bytes::fromHex("00 00 00 27")};
    zelobox::Frame const onlyMute = {IPC_PAYLOAD_RAW, IPC_ALLOWED_MESSAGE_LIST, bytes::fromHex("00 00 00 3A")};
    // The first connection has no list yet, each later one the list that was set last.
    zelobox::Connection middleware = link.startAndAccept(listener);
    EXPECT_EQ(request, middleware.receive());
    middleware.close();
    middleware = listener.accept();
    EXPECT_EQ(onlyVolume, middleware.receive());
    EXPECT_EQ(request, middleware.receive());
    middleware.close();
    middleware = listener.accept();
    EXPECT_EQ(onlyMute, middleware.receive());
}

TEST(Handlers, AreNotCalledOnceTheyAreRemoved)
{
    zelobox::Listener listener;
    RecordingHandler removed;
    Link link;
    link.client.addHandler(&removed);
    zelobox::Connection middleware = link.startAndAccept(listener);
    link.client.removeHandler(&removed);
    size_t const before = removed.events().size();
    middleware.send(numberFrame(IPC_VOLUME, 1));
    ASSERT_TRUE(link.handler.waitFor("message 39"));
    middleware.close();
    ASSERT_TRUE(link.handler.waitFor("connected", 2));
    EXPECT_EQ(before, removed.events().size());
}

TEST_F(Dispatch, DecodesBeforeTheHandlersSeeTheMessage)
{
    std::vector<uint32_t> values;
    link.handler.whenReceived = [&](IPCMessage const* message) {
        values.push_back(dynamic_cast<IPCMessageUnsignedInt const&>(*message).value);
    };
    connect();
    middleware.send({1, 26, bytes::fromHex("01 02 03 04")});
    middleware.send({1, 26, bytes::fromHex("01 02 03")}); // too short, dispatched all the same
    ASSERT_TRUE(link.handler.waitFor("message 26", 2));
    EXPECT_THAT(values, ElementsAre(0x01020304U, 0U));
}

TEST_F(Dispatch, DropsAMessageThatCannotBeDecodedAndGoesOn)
{
    connect();
    middleware.send({0, 40, bytes::fromHex("00 00 00 FF 41")});
    middleware.send(numberFrame(IPC_VOLUME, 5));
    ASSERT_TRUE(link.handler.waitFor("message 39"));
    EXPECT_THAT(link.handler.events(), ElementsAre("connected", "message 39"));
    EXPECT_THAT(logged(), ElementsAre("2 Message dropped: type 40 length 5"));
}

TEST_F(Dispatch, DropsAMessageThatAHandlerCannotTakeAndGoesOn)
{
    link.handler.whenReceived = [](IPCMessage const* message) {
        static_cast<void>(dynamic_cast<IPCMessageUnsignedInt const&>(*message));
    };
    connect();
    middleware.send(zelobox::frameOf(IPCMessageSimpleString(IPC_REMOTE_KEY, "x")));
    middleware.send(numberFrame(IPC_VOLUME, 5));
    ASSERT_TRUE(link.handler.waitFor("message 39"));
    EXPECT_THAT(link.handler.events(), ElementsAre("connected", "message 39"));
    EXPECT_THAT(logged(), ElementsAre("2 Message dropped: type 26 length 6"));
}

TEST_F(Dispatch, EndsTheConnectionWhenDecodingFindsNoMemory)
{
    connect();
    std::string const text(77776, 't'); // one more with the string's terminator
    Bytes const frame = zelobox::bytesOf(zelobox::frameOf(IPCMessageSimpleString(IPC_APP_LIFECYCLE, text)));
    allocations::FailingSize const failing(text.size() + 1);
    middleware.sendBytes(frame);
    ASSERT_TRUE(link.handler.waitFor("connected", 2));
    EXPECT_THAT(link.handler.events(), ElementsAre("connected", "disconnected", "connected"));
    EXPECT_THAT(logged(), ElementsAre(line::readError, line::connected, line::retrierOk));
}

TEST_F(Dispatch, GivesMessagesToNobodyWithoutHandlers)
{
    connect();
    link.client.removeHandler(&link.handler);
    middleware.send(numberFrame(IPC_VOLUME, 5));
    ASSERT_TRUE(standin::waitForLog("New message received: 39"));
    link.client.addHandler(&link.handler);
    middleware.send(numberFrame(IPC_MUTE, 1));
    ASSERT_TRUE(link.handler.waitFor("message 58"));
}

TEST(AllowedList, IsNotSentWhileItIsEmpty)
{
    zelobox::Listener listener;
    Link link;
    link.handler.whenConnected = [&] { link.push(new IPCMessageUnsignedInt(IPC_CLIENT_STATE, 9)); };
    zelobox::Connection middleware = link.startAndAccept(listener);
    EXPECT_EQ(numberFrame(IPC_CLIENT_STATE, 9), middleware.receive());
    middleware.close();
    middleware = listener.accept();
    EXPECT_EQ(numberFrame(IPC_CLIENT_STATE, 9), middleware.receive());
}

TEST(AllowedList, ComesBeforeWhatTheHandlersPush)
{
    zelobox::Listener listener;
    Link link;
    link.client.setAllowedMessages({IPC_MUTE, IPC_UNHANDLED_8});
    link.handler.whenConnected = [&] { link.push(new IPCMessageUnsignedInt(IPC_CLIENT_STATE, 9)); };
    zelobox::Connection middleware = link.startAndAccept(listener);
    EXPECT_EQ((zelobox::Frame{0, 1, bytes::fromHex("00 00 00 08 00 00 00 3A")}), middleware.receive());
    EXPECT_EQ(numberFrame(IPC_CLIENT_STATE, 9), middleware.receive());
}
