// What the middleware hears first, on the first connection and on later ones.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "testkit/ManagerSupport.h"

using namespace testlink;
using testing::ElementsAre;

namespace {

class Handshake : public Managed {};

} // namespace

TEST_F(Handshake, IsListThenRequestThenState)
{
    manager.emplace(ZeloCallbacks{});
    middleware = listener.accept();
    EXPECT_EQ(bytes::fromHex("6D 00 00 01 00 00 00 28"
                             " 00 00 00 08  00 00 00 18  00 00 00 19  00 00 00 1A  00 00 00 1B"
                             " 00 00 00 24  00 00 00 27  00 00 00 2A  00 00 00 31  00 00 00 3A"),
              middleware.receiveBytes(48));
    EXPECT_EQ(bytes::fromHex("6D 00 00 17 00 00 00 00"), middleware.receiveBytes(8));
    EXPECT_EQ(bytes::fromHex("6D 01 00 25 00 00 00 04 00 00 00 02"), middleware.receiveBytes(12));
    EXPECT_TRUE(middleware.isSilentFor(Milliseconds(300)));
}

TEST_F(Handshake, BeginsWithTheListTwiceAfterEveryReconnect)
{
    start();
    for (int i = 0; i < 3; ++i) {
        middleware.close();
        middleware = listener.accept();
        EXPECT_EQ(allowedList, middleware.receive());
        EXPECT_EQ(allowedList, middleware.receive());
        EXPECT_EQ(configRequest, middleware.receive());
        EXPECT_EQ(clientState, middleware.receive());
    }
    EXPECT_TRUE(middleware.isSilentFor(Milliseconds(300)));
}

TEST_F(Handshake, LogsConnectionAndDisconnection)
{
    start();
    middleware.close();
    middleware = listener.accept();
    ASSERT_TRUE(standin::waitForLog("Connected IPC!", 2));
    std::vector<std::string> const lines = logged();
    ASSERT_LE(5U, lines.size());
    EXPECT_THAT(
        std::vector<std::string>(lines.begin(), lines.begin() + 5),
        ElementsAre(line::connected, line::retrierOk, "4 Connected IPC!", line::peerClosed, "4 Disconnected IPC"));
    EXPECT_EQ("4 184 cobalt/CobaltManager", originOf("Disconnected IPC"));
    standin::LogLine const up = standin::logLines("Connected IPC!").at(0);
    EXPECT_EQ(155, up.line);
    EXPECT_EQ("cobalt/CobaltManager", up.file);
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
