// Counts that promise more than there is, over long lists: what is there comes out, and what is not costs nothing.
#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <stdexcept>

#include "src/common/ByteWriter.h"
#include "src/ipc/IPCMessage.h"
#include "testkit/Allocations.h"
#include "testkit/Vectors.h"

namespace {

using vectors::Json;

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

size_t decodedElements(Json const& vector, std::string const& field, std::vector<char> const& payload)
{
    return vectors::decode(vector, payload)[field].size();
}

uint32_t const lies[] = {5000, 5001, 0x3FFFFFFF, 0x40000000, 0x7FFFFFFF, 0xFFFFFFFC, 0xFFFFFFFF};

} // namespace

TEST(LongLists, OfNumbersTakeMemoryForWhatIsThere)
{
    Json const vector = {{"class", "IPCMessageUnsignedIntArray"}, {"kind", 3}, {"type", 25}};
    for (uint32_t const count : lies) {
        EXPECT_EQ(5000U, decodedElements(vector, "values", listOf(count, 5000, {1, 2, 3, 4}))) << count;
    }
}

TEST(LongLists, OfTextsTakeMemoryForWhatIsThere)
{
    Json const vector = {{"class", "IPCMessageStringArray"}, {"kind", 5}, {"type", 27}};
    for (uint32_t const count : lies) {
        EXPECT_EQ(5000U, decodedElements(vector, "strings", listOf(count, 5000, {0, 0, 0, 0, 0}))) << count;
    }
}

TEST(LongLists, OfTextsTakeMemoryForTheirBytesOnce)
{
    Json const vector = {{"class", "IPCMessageStringArray"}, {"kind", 5}, {"type", 27}};
    std::vector<char> element = {0, 0, 1, 0};
    element.resize(4 + 256 + 1, 'x');
    EXPECT_EQ(5000U, decodedElements(vector, "strings", listOf(5000, 5000, element)));
}

TEST(LongLists, OfTextsTakeTheMemoryOfTheirElementsAndNoMore)
{
    IPCMessageStringArray message(IPC_UNHANDLED_27);
    message.payload = listOf(5000, 5000, {0, 0, 0, 0, 0});
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
