// What the golden bytes cannot show: defaults, codes, and what a message keeps that had something in it before.
#include <gtest/gtest.h>

#include <type_traits>

#include "src/ipc/IPCMessage.h"
#include "testkit/Bytes.h"

namespace {

void expectNew(IPCMessage const& message, uint32_t kind, uint32_t type)
{
    EXPECT_EQ(kind, message.payloadKind);
    EXPECT_EQ(kind, message.headerKind);
    EXPECT_EQ(type, static_cast<uint32_t>(message.type));
    EXPECT_EQ(type, message.headerType);
    EXPECT_TRUE(message.payload.empty());
}

template <typename T> void unserialize(T& message, char const* payload)
{
    message.payload = bytes::fromHex(payload);
    message.payload.shrink_to_fit();
    message.unserialize();
}

} // namespace

TEST(Message, SetsAllCodesFromItsKindAndType)
{
    expectNew(IPCMessage(0, IPC_CONFIG_REQUEST), 0, 23);
    expectNew(IPCMessage(200, IPC_BROWSER_CONFIG), 200, 24);
    expectNew(IPCMessageUnsignedInt(IPC_CLIENT_STATE), 1, 37);
    expectNew(IPCMessageUnsignedInt64(IPC_UNHANDLED_8), 2, 8);
    expectNew(IPCMessageUnsignedIntArray(IPC_UNHANDLED_25), 3, 25);
    expectNew(IPCMessageSimpleString(IPC_VIDEO_WINDOW_MODE), 4, 44);
    expectNew(IPCMessageStringArray(IPC_UNHANDLED_27), 5, 27);
    expectNew(IPCMessageAllowedMessageList({}), 0, 1);
    expectNew(IPCMessageRecorderStats(), 0, 15);
    expectNew(IPCMessagePlayerPlaybackInfo(), 0, 32);
    expectNew(IPCMessagePlayerMediaInfo(), 0, 40);
    expectNew(IPCMessagePlayerMediaInfo(7), 7, 40);
}

TEST(Message, BeginsWithDefaultFields)
{
    EXPECT_EQ(0U, IPCMessageUnsignedInt(IPC_VOLUME).value);
    EXPECT_EQ(0U, IPCMessageUnsignedInt64(IPC_VOLUME).value);
    EXPECT_TRUE(IPCMessageUnsignedIntArray(IPC_VOLUME).values.empty());
    EXPECT_EQ("", IPCMessageSimpleString(IPC_VOLUME).text);
    EXPECT_TRUE(IPCMessageStringArray(IPC_VOLUME).strings.empty());
    EXPECT_EQ(0U, IPCMessageRecorderStats().value);
    EXPECT_EQ(4U, IPCMessageUnsignedInt(IPC_PREVIOUS_CONTROLLER, 4).value);
    EXPECT_EQ("box", IPCMessageSimpleString(IPC_VIDEO_WINDOW_MODE, "box").text);
}

TEST(Message, LeavesARawPayloadToItsCreator)
{
    IPCMessage message(IPC_PAYLOAD_RAW, IPC_VIDEO_WINDOW);
    message.payload = bytes::fromHex("01 02 03");
    message.serialize();
    EXPECT_SAME_BYTES(bytes::fromHex("01 02 03"), message.payload);
    message.unserialize();
    EXPECT_SAME_BYTES(bytes::fromHex("01 02 03"), message.payload);
}

TEST(Message, ForgetsItsNumberWhenThePayloadIsShort)
{
    IPCMessageUnsignedInt number(IPC_VOLUME, 5);
    unserialize(number, "00 00 01");
    EXPECT_EQ(0U, number.value);
    IPCMessageUnsignedInt64 wide(IPC_VOLUME, 5);
    unserialize(wide, "00 00 00 00 00 00 01");
    EXPECT_EQ(0U, wide.value);
}

TEST(Message, ForgetsItsListWhenThePayloadIsShort)
{
    IPCMessageUnsignedIntArray numbers(IPC_UNHANDLED_25);
    numbers.values = {1, 2};
    unserialize(numbers, "00 00 00");
    EXPECT_TRUE(numbers.values.empty());
    IPCMessageStringArray texts(IPC_UNHANDLED_27);
    texts.strings = {"a"};
    unserialize(texts, "00 00 00");
    EXPECT_TRUE(texts.strings.empty());
}

TEST(Message, ReplacesItsListByTheReceivedOne)
{
    IPCMessageUnsignedIntArray numbers(IPC_UNHANDLED_25);
    numbers.values = {1, 2};
    unserialize(numbers, "00 00 00 01 00 00 00 09");
    EXPECT_EQ(std::vector<uint32_t>({9}), numbers.values);
    IPCMessageStringArray texts(IPC_UNHANDLED_27);
    texts.strings = {"a", "b"};
    unserialize(texts, "00 00 00 01 00 00 00 01 63 00");
    EXPECT_EQ(std::vector<std::string>({"c"}), texts.strings);
}

TEST(Message, KeepsItsTextWhenTheReceivedOneIsNotAllThere)
{
    for (char const* const payload : {"", "00", "00 00 00", "00 00 00 01", "00 00 00 02 78", "FF FF FF FF 78 00"}) {
        IPCMessageSimpleString message(IPC_APP_LIFECYCLE, "before");
        unserialize(message, payload);
        EXPECT_EQ("before", message.text) << payload;
    }
}

TEST(Message, ReplacesItsTextByAnEmptyOne)
{
    IPCMessageSimpleString message(IPC_APP_LIFECYCLE, "before");
    unserialize(message, "00 00 00 00 00");
    EXPECT_EQ("", message.text);
}

TEST(Message, IgnoresAPayloadOfAllowedTypes)
{
    IPCMessageAllowedMessageList message({IPC_VOLUME, IPC_MUTE});
    unserialize(message, "00 00 00 01");
    EXPECT_EQ(std::set<IPCMessageType>({IPC_VOLUME, IPC_MUTE}), message.types);
}

TEST(Message, OwnsACopyOfTheAllowedTypes)
{
    std::set<IPCMessageType> types = {IPC_VOLUME};
    IPCMessageAllowedMessageList message(types);
    types.insert(IPC_MUTE);
    message.serialize();
    EXPECT_SAME_BYTES(bytes::fromHex("00 00 00 27"), message.payload);
}
