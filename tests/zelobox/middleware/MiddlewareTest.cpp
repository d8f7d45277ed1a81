#include <gtest/gtest.h>

#include "tests/zelobox/middleware/MiddlewareFixture.h"
#include "zelobox/protocol/BrowserConfigJson.h"
#include "zelobox/protocol/BrowserConfigPayload.h"

using namespace zelobox;
using MiddlewareInProcess = program::MiddlewareFixture;

namespace {

Frame number(IPCMessageType type, uint32_t value)
{
    return frameOf(IPCMessageUnsignedInt(type, value));
}

} // namespace

TEST_F(MiddlewareInProcess, SendsATypeOnlyToThoseWhoHaveSubscribedToIt)
{
    Connection subscribed = connect();
    subscribed.send(frameOf(IPCMessageAllowedMessageList({IPC_VOLUME})));
    Connection other = connect();
    other.send(frameOf(IPCMessageAllowedMessageList({IPC_MUTE})));
    seen(4);
    EXPECT_EQ(1U, middleware.send(number(IPC_VOLUME, 3)));
    EXPECT_EQ(0U, middleware.send(number(IPC_REMOTE_KEY, 3)));
    EXPECT_EQ(2U, middleware.sendToAll(number(IPC_REMOTE_KEY, 4)));
    EXPECT_EQ(number(IPC_VOLUME, 3), subscribed.receive());
    EXPECT_EQ(number(IPC_REMOTE_KEY, 4), subscribed.receive());
    EXPECT_EQ(number(IPC_REMOTE_KEY, 4), other.receive());
}

TEST_F(MiddlewareInProcess, ReplacesASubscription)
{
    Connection client = connect();
    client.send(frameOf(IPCMessageAllowedMessageList({IPC_VOLUME})));
    client.send(frameOf(IPCMessageAllowedMessageList({IPC_MUTE})));
    seen(3);
    EXPECT_EQ(0U, middleware.send(number(IPC_VOLUME, 3)));
    EXPECT_EQ(1U, middleware.send(number(IPC_MUTE, 1)));
}

TEST_F(MiddlewareInProcess, KeepsWhatItHasSent)
{
    Connection client = connect();
    client.send(frameOf(IPCMessageAllowedMessageList({IPC_VOLUME, IPC_MUTE, IPC_APP_LIFECYCLE, IPC_BROWSER_CONFIG})));
    seen(2);
    IPCBrowserConfig next = defaultConfig();
    next.language = "sv";
    middleware.send(number(IPC_VOLUME, 30));
    middleware.send(number(IPC_MUTE, 2));
    middleware.send(frameOf(IPCMessageSimpleString(IPC_APP_LIFECYCLE, "onpause")));
    middleware.send({IPC_PAYLOAD_RAW, IPC_BROWSER_CONFIG, payloadOf(next)});
    EXPECT_EQ(30U, middleware.state().volume);
    EXPECT_TRUE(middleware.state().muted);
    EXPECT_TRUE(middleware.state().paused);
    EXPECT_EQ("sv", middleware.state().config.language);
}

TEST_F(MiddlewareInProcess, TellsANewcomerOnceWhatItKnows)
{
    middleware.send(number(IPC_VOLUME, 2));
    middleware.send(number(IPC_MUTE, 1));
    middleware.send(frameOf(IPCMessageSimpleString(IPC_APP_LIFECYCLE, "onpause")));
    Connection client = connect();
    client.send(frameOf(IPCMessageAllowedMessageList({IPC_VOLUME, IPC_MUTE, IPC_BROWSER_CONFIG})));
    client.send({IPC_PAYLOAD_RAW, IPC_CONFIG_REQUEST, {}});
    client.send({IPC_PAYLOAD_RAW, IPC_CONFIG_REQUEST, {}});
    std::vector<std::string> const all = seen(8);
    EXPECT_EQ((std::vector<std::string>{"1 IPC_VOLUME value=2", "1 IPC_MUTE value=1", "1 IPC_CONFIG_REQUEST"}),
              (std::vector<std::string>{all.begin() + 4, all.begin() + 7}))
        << "no pause, to which it has not subscribed, and nothing behind the second answer";
}

TEST_F(MiddlewareInProcess, TellsANewcomerNothingThatNobodyHasSaid)
{
    Connection client = connect();
    client.send(frameOf(IPCMessageAllowedMessageList({IPC_VOLUME, IPC_MUTE, IPC_APP_LIFECYCLE})));
    client.send({IPC_PAYLOAD_RAW, IPC_CONFIG_REQUEST, {}});
    client.send({IPC_PAYLOAD_RAW, IPC_CONFIG_REQUEST, {}});
    std::vector<std::string> const all = seen(6);
    EXPECT_EQ("1 IPC_CONFIG_REQUEST", all[4]);
}

TEST_F(MiddlewareInProcess, LeavesRequestsUnansweredWhenToldSo)
{
    middleware.setAnswering(false);
    Connection client = connect();
    client.send({IPC_PAYLOAD_RAW, IPC_CONFIG_REQUEST, {}});
    EXPECT_EQ((std::vector<std::string>{"1 connected", "1 IPC_CONFIG_REQUEST"}), seen(2));
    EXPECT_TRUE(client.isSilentFor(Milliseconds(1)));
}

TEST_F(MiddlewareInProcess, SaysWhoWasDropped)
{
    Connection client = connect();
    seen(1);
    middleware.dropClients();
    EXPECT_EQ((std::vector<std::string>{"1 connected", "1 disconnected: dropped by the middleware"}), seen(2));
    EXPECT_TRUE(client.waitForClose());
    EXPECT_TRUE(middleware.clients().empty());
}

TEST_F(MiddlewareInProcess, KeepsForAClientWhatItDoesNotReadYet)
{
    Connection slow = connect();
    Connection quick = connect();
    seen(2);
    size_t const count = 20000; // more than the socket takes
    for (uint32_t i = 0; i < count; ++i) {
        middleware.sendToAll(number(IPC_VOLUME, i));
        if (i % 100 == 0) { // the quick one keeps up, whatever the slow one does
            EXPECT_EQ(number(IPC_VOLUME, i), quick.receive());
        } else {
            quick.receive();
        }
    }
    std::vector<char> expected;
    for (uint32_t i = 0; i < count; ++i) {
        std::vector<char> const bytes = bytesOf(number(IPC_VOLUME, i));
        expected.insert(expected.end(), bytes.begin(), bytes.end());
    }
    std::vector<char> received;
    while (received.size() < expected.size()) {
        std::vector<char> const bytes = slow.receiveBytes(12);
        received.insert(received.end(), bytes.begin(), bytes.end());
        loop.turn(EventLoop::Clock::now());
    }
    EXPECT_TRUE(expected == received);
}

TEST_F(MiddlewareInProcess, SendsBytesThatAreNoFrame)
{
    Connection client = connect();
    seen(1);
    middleware.sendRaw({1, 2, 3});
    EXPECT_EQ((std::vector<char>{1, 2, 3}), client.receiveBytes(3));
    EXPECT_EQ("1 raw bytes 010203", seen(2).back());
}
