// What the golden bytes cannot show: defaults, codes, what a message keeps that had something in it before, which class
// a received kind and type make, and counts that promise more than there is.
#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <stdexcept>
#include <type_traits>
#include <typeinfo>

#include "src/common/ByteWriter.h"
#include "src/ipc/IPCMessage.h"
#include "testkit/Allocations.h"
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

// Decodes as every class.
char const anyPayload[] = "00 00 00 01 61 00 01 00 00 00 00 00 00 00 02 00 00";

std::unique_ptr<IPCMessage> received(unsigned kind, unsigned type)
{
    std::vector<char> payload = bytes::fromHex(anyPayload);
    return std::unique_ptr<IPCMessage>(
        makeReceivedMessage(static_cast<uint8_t>(kind), static_cast<uint16_t>(type), std::move(payload)).release());
}

std::type_info const& classOfType(unsigned type)
{
    switch (type) {
    case 32:
        return typeid(IPCMessagePlayerPlaybackInfo);
    case 40:
        return typeid(IPCMessagePlayerMediaInfo);
    case 15:
        return typeid(IPCMessageRecorderStats);
    default:
        return typeid(IPCMessage);
    }
}

std::type_info const& classOf(unsigned kind, unsigned type)
{
    switch (kind) {
    case 1:
        return typeid(IPCMessageUnsignedInt);
    case 2:
        return typeid(IPCMessageUnsignedInt64);
    case 3:
        return typeid(IPCMessageUnsignedIntArray);
    case 4:
        return typeid(IPCMessageSimpleString);
    case 5:
        return typeid(IPCMessageStringArray);
    default:
        return classOfType(type);
    }
}

void expectMade(unsigned kind, unsigned type)
{
    SCOPED_TRACE(testing::Message() << "kind " << kind << " type " << type);
    std::unique_ptr<IPCMessage> const message = received(kind, type);
    IPCMessage const& made = *message;
    EXPECT_STREQ(classOf(kind, type).name(), typeid(made).name());
    EXPECT_EQ(kind, made.payloadKind);
    EXPECT_EQ(kind, made.headerKind);
    EXPECT_EQ(type, static_cast<unsigned>(made.type));
    EXPECT_EQ(type, made.headerType);
    EXPECT_SAME_BYTES(bytes::fromHex(anyPayload), made.payload);
}

/// @return a payload that begins with @p count and goes on with @p copies of @p element
std::vector<char> listOf(uint32_t count, size_t copies, std::vector<char> const& element)
{
    std::vector<char> payload;
    ByteWriter(payload).u32(count);
    for (size_t i = 0; i < copies; ++i) {
        payload.insert(payload.end(), element.begin(), element.end());
    }
    return payload;
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

TEST(Factory, LooksAtTheKindBeforeTheType)
{
    for (unsigned kind = 0; kind < 256; ++kind) {
        for (unsigned const type : {0U, 1U, 8U, 14U, 15U, 16U, 24U, 26U, 31U, 32U, 33U, 39U, 40U, 41U, 58U, 65535U}) {
            expectMade(kind, type);
        }
    }
}

TEST(Factory, KnowsEveryTypeOfTheRawKind)
{
    for (unsigned type = 0; type < 65536; ++type) {
        expectMade(0, type);
    }
}

TEST(Factory, PassesTheFailureOfAMediaInfoOn)
{
    EXPECT_THROW(makeReceivedMessage(0, 40, {}), std::out_of_range);
    EXPECT_NO_THROW(makeReceivedMessage(5, 40, {}));
}

TEST(LongLists, OfNumbersTakeTheMemoryOfTheirElementsAndNoMore)
{
    IPCMessageUnsignedIntArray message(IPC_UNHANDLED_25);
    message.payload = listOf(0xFFFFFFFF, 5000, {1, 2, 3, 4});
    allocations::Budget const budget(5000 * sizeof(uint32_t), 1);
    message.unserialize();
    EXPECT_EQ(5000U, message.values.size());
}

TEST(LongLists, OfTextsTakeTheMemoryOfTheirElementsAndNoMore)
{
    IPCMessageStringArray message(IPC_UNHANDLED_27);
    message.payload = listOf(0xFFFFFFFF, 5000, {0, 0, 0, 0, 0});
    allocations::Budget const budget(5000 * sizeof(std::string), 1);
    message.unserialize();
    EXPECT_EQ(5000U, message.strings.size());
}

TEST(LongLists, OfStreamsTakeTheMemoryOfTheirElementsAndNoMore)
{
    IPCMessagePlayerMediaInfo sent;
    sent.info.streams.resize(5000);
    sent.serialize();
    IPCMessagePlayerMediaInfo message;
    message.payload = sent.payload;
    allocations::Budget const budget(5001 * sizeof(IPCJSPlayerMediaInfo::Stream), 1);
    message.unserialize();
    EXPECT_EQ(5000U, message.info.streams.size());
}

namespace {

/// @return a received message of this kind that is decoded no further once the flag is set
template <typename Message> std::unique_ptr<Message> decodeAbandoned(std::vector<char> const& payload)
{
    static std::atomic<bool> const abandoned{true};
    std::unique_ptr<Message> message(new Message(IPC_UNHANDLED_27));
    message->payload = payload;
    message->abandoned = &abandoned;
    message->unserialize();
    return message;
}

} // namespace

TEST(AbandonedDecoding, EndsInAListOfNumbers)
{
    std::vector<char> const payload = listOf(5000, 5000, {1, 2, 3, 4});
    EXPECT_EQ(0U, decodeAbandoned<IPCMessageUnsignedIntArray>(payload)->values.at(1));
}

TEST(AbandonedDecoding, EndsInAListOfTexts)
{
    std::vector<char> const payload = listOf(5000, 5000, {0, 0, 0, 0, 0});
    EXPECT_EQ(0U, decodeAbandoned<IPCMessageStringArray>(payload)->strings.size());
}

TEST(AbandonedDecoding, EndsInATextAfterAMegabyte)
{
    std::atomic<bool> abandoned{false};
    std::vector<char> const bytes(3 * 1024 * 1024, 'x');
    ByteReader reader(bytes, &abandoned);
    EXPECT_EQ(bytes.size() - 1, reader.text(bytes.size() - 1).size());
    abandoned = true;
    EXPECT_EQ("", reader.text(1));
    EXPECT_TRUE(reader.failed());
}

TEST(AbandonedDecoding, EndsInAMediaInfo)
{
    std::atomic<bool> const abandoned{true};
    IPCMessagePlayerMediaInfo message;
    message.info.streams.resize(5000);
    message.serialize();
    message.abandoned = &abandoned;
    EXPECT_THROW(message.unserialize(), std::out_of_range);
    EXPECT_TRUE(message.info.streams.empty());
}

TEST(AbandonedDecoding, IsTheFactorysToo)
{
    std::atomic<bool> const abandoned{true};
    std::unique_ptr<IPCMessage> const message(
        makeReceivedMessage(IPC_PAYLOAD_STRING_ARRAY, 27, listOf(2, 2, {0, 0, 0, 0, 0}), &abandoned).release());
    EXPECT_TRUE(dynamic_cast<IPCMessageStringArray&>(*message).strings.empty());
}
