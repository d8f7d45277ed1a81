// What the golden bytes of the player's and the recorder's messages cannot show.
#include <gtest/gtest.h>
#include <stddef.h>
#include <stdint.h>
#include <string.h>

#include <algorithm>
#include <stdexcept>

#include "src/ipc/IPCMessage.h"
#include "testkit/Bytes.h"

namespace {

template <typename T> void unserialize(T& message, std::string const& payload)
{
    message.payload = bytes::fromHex(payload);
    message.payload.shrink_to_fit();
    message.unserialize();
}

/// @return the text of the failure, empty if there is none
std::string failureOf(IPCMessagePlayerMediaInfo& message, std::string const& payload)
{
    try {
        unserialize(message, payload);
        return std::string();
    } catch (std::out_of_range const& failure) {
        return failure.what();
    }
}

std::string rangeCheck(unsigned long long index, size_t size)
{
    return "vector::_M_range_check: __n (which is " + std::to_string(index) + ") >= this->size() (which is " +
           std::to_string(size) + ")";
}

void fill(IPCMessagePlayerMediaInfo& message)
{
    message.info.name = "before";
    message.info.flag = true;
    message.info.value64 = 9;
    message.info.streams.resize(2);
}

void expectDefaults(IPCJSPlayerMediaInfo const& info)
{
    EXPECT_EQ("", info.name);
    EXPECT_FALSE(info.flag);
    EXPECT_EQ(0U, info.value64);
    EXPECT_TRUE(info.streams.empty());
}

} // namespace

TEST(RecorderStats, KeepsItsValueWhenThePayloadIsNotOneByte)
{
    IPCMessageRecorderStats message;
    unserialize(message, "07");
    unserialize(message, "08 09");
    EXPECT_EQ(7, message.value);
    unserialize(message, "");
    EXPECT_EQ(7, message.value);
}

TEST(PlaybackInfo, BeginsWithMinusOneAndZeros)
{
    IPCMessagePlayerPlaybackInfo message;
    message.serialize();
    std::vector<char> expected(30, '\0');
    memset(expected.data(), 0xFF, 4);
    EXPECT_SAME_BYTES(expected, message.payload);
}

TEST(PlaybackInfo, IsARecordOfThirtyBytesWithoutPadding)
{
    using Record = IPCMessagePlayerPlaybackInfo::Record;
    static_assert(sizeof(Record) == 30 && alignof(Record) == 1, "packed");
    EXPECT_EQ(0U, offsetof(Record, first));
    EXPECT_EQ(4U, offsetof(Record, second));
    EXPECT_EQ(6U, offsetof(Record, rest));
}

TEST(PlaybackInfo, IsKeptInTheByteOrderOfTheHost)
{
    IPCMessagePlayerPlaybackInfo message;
    int32_t const sent = 0x01020304;
    message.payload.assign(30, '\0');
    memcpy(message.payload.data(), &sent, sizeof sent);
    message.unserialize();
    EXPECT_EQ(sent, int32_t{message.record.first});
}

TEST(PlaybackInfo, KeepsItsRecordWhenThePayloadHasAnotherSize)
{
    for (size_t const size : {0U, 29U, 31U}) {
        IPCMessagePlayerPlaybackInfo message;
        message.record.second = 77;
        message.payload.assign(size, 'x');
        message.unserialize();
        EXPECT_EQ(-1, int32_t{message.record.first}) << size;
        EXPECT_EQ(77, uint16_t{message.record.second}) << size;
    }
}

TEST(MediaInfo, FailsLikeACheckedAccessToAVector)
{
    IPCMessagePlayerMediaInfo message;
    EXPECT_EQ(rangeCheck(6, 6), failureOf(message, "00 00 00 01 61 00"));
    EXPECT_EQ(rangeCheck(6, 5), failureOf(message, "00 00 00 01 61"));
    EXPECT_EQ(rangeCheck(5, 4), failureOf(message, "00 00 00 00"));
}

TEST(MediaInfo, ComputesTheEndOfALongNameWithoutWrapping)
{
    for (uint64_t length = 0xFFFFFFF0; length <= 0xFFFFFFFF; ++length) {
        char digits[9];
        snprintf(digits, sizeof digits, "%08llX", static_cast<unsigned long long>(length));
        IPCMessagePlayerMediaInfo message;
        uint64_t const index = std::min<uint64_t>(length + 5, SIZE_MAX); // the largest there is
        EXPECT_EQ(rangeCheck(index, 20), failureOf(message, digits + std::string(32, '0'))) << digits;
    }
}

TEST(MediaInfo, KeepsWhatWasCompleteWhenItIsCutShort)
{
    std::string const name = "00000001 61";
    std::string const flag = name + " 00 01";
    std::string const number = flag + " 0000000000000002";
    std::string const oneStream = number + " 0002 00000001 00000002 00000003 00000002 656E 00 00000000";
    std::string const all = oneStream + " 00 00000004 00000005 00000006 00000000 00 00000000";
    size_t const whole = bytes::fromHex(all).size();
    for (size_t size = 0; size < whole; ++size) {
        std::vector<char> cut = bytes::fromHex(all);
        cut.resize(size);
        IPCMessagePlayerMediaInfo message;
        fill(message);
        EXPECT_NE("", failureOf(message, bytes::toHex(cut))) << size;
        EXPECT_EQ(size >= bytes::fromHex(name).size() ? "a" : "", message.info.name) << size;
        EXPECT_EQ(size >= bytes::fromHex(flag).size(), message.info.flag) << size;
        EXPECT_EQ(size >= bytes::fromHex(number).size() ? 2U : 0U, message.info.value64) << size;
        EXPECT_EQ(size >= bytes::fromHex(oneStream).size() ? 1U : 0U, message.info.streams.size()) << size;
    }
}

TEST(MediaInfo, ReplacesEverythingItHeld)
{
    IPCMessagePlayerMediaInfo message;
    fill(message);
    EXPECT_EQ("", failureOf(message, "00000000 00 00 0000000000000000 0000"));
    expectDefaults(message.info);
}

TEST(MediaInfo, SendsEveryStreamAndTheLowBitsOfTheirNumber)
{
    size_t const fixedPart = 16;
    size_t const entry = 22;
    for (size_t const streams : {65535U, 65536U, 65537U}) {
        IPCMessagePlayerMediaInfo sent;
        sent.info.streams.resize(streams);
        sent.info.streams[0].number1 = 5;
        sent.serialize();
        EXPECT_EQ(fixedPart + streams * entry, sent.payload.size()) << streams;
        IPCMessagePlayerMediaInfo received;
        received.payload = sent.payload;
        received.unserialize();
        EXPECT_EQ(streams % 65536, received.info.streams.size());
    }
}
