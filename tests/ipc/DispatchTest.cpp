// From whole frames to messages in the handlers' hands.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <typeinfo>

#include "testkit/Allocations.h"
#include "testkit/HostStandIn.h"
#include "testkit/LinkSupport.h"

using namespace testlink;
using testing::ElementsAre;

namespace {

/// A frame and the class that its message is to have.
struct ClassCase {
    zelobox::Frame frame;
    std::type_info const& type;
};

class ClassOf : public testing::TestWithParam<ClassCase> {};

void PrintTo(ClassCase const& value, std::ostream* out)
{
    PrintTo(value.frame, out);
}

Bytes const someBytes = bytes::fromHex("01 02 03 04");
Bytes const emptyMediaInfo(16, 0);

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

TEST_P(ClassOf, IsChosenByKindThenType)
{
    std::string name;
    std::vector<uint32_t> codes;
    zelobox::Listener listener;
    Link link;
    link.handler.whenReceived = [&](IPCMessage const* message) {
        name = typeid(*message).name();
        codes = {message->payloadKind, message->type};
    };
    link.startAndAccept(listener).send(GetParam().frame);
    ASSERT_TRUE(link.handler.waitFor("message " + std::to_string(GetParam().frame.type)));
    EXPECT_EQ(GetParam().type.name(), name);
    EXPECT_THAT(codes, ElementsAre(GetParam().frame.kind, GetParam().frame.type));
    EXPECT_THAT(link.handler.frames(), ElementsAre(GetParam().frame));
}

INSTANTIATE_TEST_SUITE_P(OfAReceivedMessage, ClassOf,
                         testing::Values(ClassCase{{1, 26, someBytes}, typeid(IPCMessageUnsignedInt)},
                                         ClassCase{{2, 26, someBytes}, typeid(IPCMessageUnsignedInt64)},
                                         ClassCase{{3, 26, someBytes}, typeid(IPCMessageUnsignedIntArray)},
                                         ClassCase{{4, 26, someBytes}, typeid(IPCMessageSimpleString)},
                                         ClassCase{{5, 26, someBytes}, typeid(IPCMessageStringArray)},
                                         ClassCase{{0, 24, someBytes}, typeid(IPCMessage)},
                                         ClassCase{{0, 32, someBytes}, typeid(IPCMessagePlayerPlaybackInfo)},
                                         ClassCase{{0, 40, emptyMediaInfo}, typeid(IPCMessagePlayerMediaInfo)},
                                         ClassCase{{0, 15, someBytes}, typeid(IPCMessageRecorderStats)},
                                         ClassCase{{1, 40, someBytes}, typeid(IPCMessageUnsignedInt)},
                                         ClassCase{{6, 32, someBytes}, typeid(IPCMessagePlayerPlaybackInfo)},
                                         ClassCase{{7, 40, emptyMediaInfo}, typeid(IPCMessagePlayerMediaInfo)},
                                         ClassCase{{255, 15, someBytes}, typeid(IPCMessageRecorderStats)},
                                         ClassCase{{200, 65535, someBytes}, typeid(IPCMessage)}),
                         [](testing::TestParamInfo<ClassCase> const& instance) {
                             return "Kind" + std::to_string(instance.param.frame.kind) + "Type" +
                                    std::to_string(instance.param.frame.type);
                         });

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
