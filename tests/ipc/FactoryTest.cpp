// Which class a received kind and type make.
#include <gtest/gtest.h>

#include <typeinfo>

#include "src/ipc/IPCMessage.h"
#include "testkit/Bytes.h"

namespace {

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

} // namespace

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

TEST(Factory, KeepsAKindAboveFive)
{
    std::unique_ptr<IPCMessage> const message = received(7, 40);
    ASSERT_NE(nullptr, dynamic_cast<IPCMessagePlayerMediaInfo*>(message.get()));
    EXPECT_EQ(7U, message->payloadKind);
}

TEST(Factory, TakesAWholeNumberForANumberWhateverItsType)
{
    std::unique_ptr<IPCMessage> const message = received(1, 40);
    ASSERT_NE(nullptr, dynamic_cast<IPCMessageUnsignedInt*>(message.get()));
    EXPECT_EQ(1U, dynamic_cast<IPCMessageUnsignedInt&>(*message).value);
}

TEST(Factory, PassesTheFailureOfAMediaInfoOn)
{
    EXPECT_THROW(makeReceivedMessage(0, 40, {}), std::out_of_range);
    EXPECT_NO_THROW(makeReceivedMessage(5, 40, {}));
}
