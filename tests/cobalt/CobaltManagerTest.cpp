// What the manager does with each message, and what it asks for.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <new>
#include <vector>

#include "testkit/Allocations.h"
#include "testkit/ManagerSupport.h"

using namespace testlink;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class Manager : public Managed {};

zelobox::Frame lifecycle(std::string const& text)
{
    return zelobox::frameOf(IPCMessageSimpleString(IPC_APP_LIFECYCLE, text));
}

class Handshake : public Managed {};

} // namespace

TEST_F(Manager, AnswersEveryConfigurationWithStateWindowAndMode)
{
    start();
    for (int i = 0; i < 2; ++i) {
        middleware.send(configuration);
        EXPECT_EQ(configState, middleware.receive());
        EXPECT_EQ(fullScreen, middleware.receive());
        EXPECT_EQ(boxMode, middleware.receive());
    }
    EXPECT_TRUE(middleware.isSilentFor(Milliseconds(300)));
    unsigned width = 0;
    unsigned height = 0;
    EXPECT_TRUE(CobaltManager::displaySize(width, height));
    EXPECT_EQ(1920U, width);
    EXPECT_EQ(1080U, height);
    EXPECT_EQ("de", CobaltManager::copyOfLanguage());
}

TEST_F(Manager, AnswersAConfigurationThatCannotBeReadAllTheSame)
{
    start();
    for (Bytes const& payload : {Bytes(), Bytes(7, 1)}) {
        middleware.send({0, 24, payload});
        EXPECT_EQ(configState, middleware.receive());
        EXPECT_EQ(fullScreen, middleware.receive());
        EXPECT_EQ(boxMode, middleware.receive());
    }
    EXPECT_EQ(2U, standin::logLines("Browser config data failed").size());
    EXPECT_EQ("", CobaltManager::_config.macAddress);
}

TEST_F(Manager, PassesKeysOnWithTheirModifier)
{
    start();
    middleware.send(numberFrame(IPC_REMOTE_KEY, 0x0000002C));
    middleware.send(numberFrame(IPC_REMOTE_KEY, 0x00012345)); // no such command
    middleware.send(numberFrame(IPC_REMOTE_KEY, 0x0002012C)); // nor are these two, whatever their low byte
    middleware.send(numberFrame(IPC_REMOTE_KEY, 0x0003802C));
    middleware.send(numberFrame(IPC_REMOTE_KEY, 0x00FF0026));
    middleware.send(numberFrame(IPC_REMOTE_KEY, 0xAB10002A)); // the high bits mean nothing
    middleware.send(numberFrame(IPC_REMOTE_KEY, 0x0000002D)); // a command without a key
    ASSERT_TRUE(callbacks::waitFor("key 0 0"));
    EXPECT_THAT(callbacks::calls(),
                ElementsAre("key 13 0", "key 0 1", "key 0 2", "key 0 3", "key 89 255", "key 37 16", "key 0 0"));
}

TEST_F(Manager, StoresTheVolumeBeforeItTellsTheHost)
{
    start();
    middleware.send(numberFrame(IPC_VOLUME, 42));
    middleware.send(numberFrame(IPC_VOLUME, 0xFFFFFFFF));
    ASSERT_TRUE(callbacks::waitFor("volume 4294967295"));
    EXPECT_THAT(callbacks::calls(), ElementsAre("volume 42", "volume 4294967295"));
}

TEST_F(Manager, TakesEveryNumberButZeroAsMuted)
{
    start();
    middleware.send(numberFrame(IPC_VOLUME, 3));
    middleware.send(numberFrame(IPC_MUTE, 7));
    middleware.send(numberFrame(IPC_MUTE, 0x100));
    middleware.send(numberFrame(IPC_MUTE, 0));
    ASSERT_TRUE(callbacks::waitFor("volume 3", 2));
    EXPECT_THAT(callbacks::calls(), ElementsAre("volume 3", "volume 3 muted", "volume 3 muted", "volume 3"));
}

TEST_F(Manager, KnowsTwoLifeCycleTextsToTheLetter)
{
    start();
    for (char const* const other : {"OnPause", "onpause ", " onpause", "onpaus", "", "onresume\n", "onstop"}) {
        middleware.send(lifecycle(other));
    }
    middleware.send(lifecycle(std::string("onpause\0", 8)));
    middleware.send(lifecycle("onpause"));
    middleware.send(lifecycle("onresume"));
    ASSERT_TRUE(callbacks::waitFor("resume"));
    EXPECT_THAT(callbacks::calls(), ElementsAre("pause", "resume"));
}

TEST_F(Manager, CallsNoCallbackThatIsNull)
{
    start(ZeloCallbacks{});
    middleware.send(numberFrame(IPC_REMOTE_KEY, 0x2C));
    middleware.send(numberFrame(IPC_VOLUME, 42));
    middleware.send(numberFrame(IPC_MUTE, 1));
    middleware.send(lifecycle("onpause"));
    sendAndWait(lifecycle("onresume"));
    unsigned volume = 0;
    bool muted = false;
    EXPECT_TRUE(CobaltManager::volumes(volume, muted));
    EXPECT_EQ(42U, volume);
    EXPECT_TRUE(muted);
    EXPECT_THAT(standin::logLines("Message dropped"), IsEmpty());
}

TEST_F(Manager, IgnoresEveryOtherTypeWithoutAWord)
{
    start();
    standin::clearLog();
    for (uint16_t const type : std::vector<uint16_t>{0, 1, 8, 15, 23, 25, 27, 29, 32, 36, 37, 42, 44, 59, 0xFFFF}) {
        middleware.send({0, type, bytes::fromHex("00 00 00 01")});
    }
    sendAndWait(numberFrame(1000, 1));
    EXPECT_THAT(logged(), IsEmpty());
    EXPECT_THAT(callbacks::calls(), IsEmpty());
    EXPECT_TRUE(middleware.isSilentFor(Milliseconds(100)));
}

TEST_F(Manager, DropsAMessageWhoseClassIsNotThatOfItsType)
{
    start();
    standin::clearLog();
    middleware.send(zelobox::frameOf(IPCMessageSimpleString(IPC_REMOTE_KEY, "x")));
    middleware.send({0, IPC_VOLUME, bytes::fromHex("00 00 00 01")});
    middleware.send({5, IPC_MUTE, bytes::fromHex("00 00 00 01")});
    sendAndWait(numberFrame(IPC_APP_LIFECYCLE, 1));
    EXPECT_THAT(logged(), ElementsAre("2 Message dropped: type 26 length 6", "2 Message dropped: type 39 length 4",
                                      "2 Message dropped: type 58 length 4", "2 Message dropped: type 49 length 4"));
    EXPECT_THAT(callbacks::calls(), IsEmpty());
}

TEST_F(Manager, SendsWindowAndMode)
{
    start();
    manager->setVideoWindow(1920, 1080, 300, 70000);
    EXPECT_EQ(bytes::fromHex("6D 00 00 1D 00 00 00 09 07 80 04 38 01 2C 11 70 00"), middleware.receiveBytes(17));
    EXPECT_EQ(bytes::fromHex("6D 04 00 2C 00 00 00 08 00 00 00 03 62 6F 78 00"), middleware.receiveBytes(16));
    manager->setVideoWindow(-1, 0, 65535, -65536);
    EXPECT_EQ((zelobox::Frame{0, 29, bytes::fromHex("FF FF 00 00 FF FF 00 00 00")}), middleware.receive());
    EXPECT_EQ(boxMode, middleware.receive());
}

TEST_F(Manager, SendsTheRequestForThePreviousController)
{
    start();
    manager->requestPreviousController();
    EXPECT_EQ(bytes::fromHex("6D 01 00 22 00 00 00 04 00 00 00 04"), middleware.receiveBytes(12));
}

TEST_F(Manager, TakesRequestsFromACallback)
{
    start();
    callbacks::setBody([this] { manager->requestPreviousController(); });
    middleware.send(numberFrame(IPC_VOLUME, 1));
    EXPECT_EQ(34, middleware.receive().type);
}

/// Pushes until the queue needs memory and there is none.
///
/// @return how many were queued before
static size_t pushWithoutMemory(CobaltManager& manager, std::vector<std::unique_ptr<IPCMessage>>& messages)
{
    allocations::Budget const nothing(0);
    for (size_t i = 0; i < messages.size(); ++i) {
        try {
            manager.send(std::auto_ptr<IPCMessage>(messages[i].release()));
        } catch (std::bad_alloc const&) {
            return i;
        }
    }
    return messages.size();
}

TEST_F(Manager, PassesAnErrorOfAPushOnAndDestroysTheMessage)
{
    start();
    std::vector<std::unique_ptr<IPCMessage>> messages(1000); // the queue's memory comes for many at once
    for (std::unique_ptr<IPCMessage>& message : messages) {
        message.reset(new CountedMessage(IPC_CLIENT_STATE, 1));
    }
    size_t const queued = pushWithoutMemory(*manager, messages);
    ASSERT_LT(queued, messages.size()) << "no push failed";
    messages.clear();
    manager->requestPreviousController();
    for (size_t i = 0; i < queued; ++i) {
        ASSERT_EQ(37, middleware.receive().type);
    }
    EXPECT_EQ(34, middleware.receive().type);
    EXPECT_EQ(0, CountedMessage::living);
}

TEST_F(Handshake, IsListThenRequestThenState)
{
    manager.emplace(ZeloCallbacks{});
    middleware.accept();
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
        middleware.accept();
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
    middleware.accept();
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
