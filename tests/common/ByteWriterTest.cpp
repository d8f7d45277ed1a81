#include "src/common/ByteWriter.h"

#include <gtest/gtest.h>

#include "src/common/ByteReader.h"
#include "testkit/Bytes.h"

namespace {

using Bytes = std::vector<char>;

} // namespace

TEST(ByteWriter, AppendsEveryWidthBigEndian)
{
    Bytes written = {'x'};
    ByteWriter writer(written);
    writer.u8(0x81);
    writer.u16(0x8203);
    writer.u32(0x84050607);
    writer.u64(0x88090A0B0C0D0E0F);
    EXPECT_SAME_BYTES(bytes::fromHex("78 81 8203 84050607 88090A0B0C0D0E0F"), written);
}

TEST(ByteWriter, AppendsRawBytesAsTheyAre)
{
    Bytes written;
    ByteWriter writer(written);
    writer.raw("a\0b", 3);
    writer.raw(nullptr, 0);
    writer.u8(0);
    EXPECT_SAME_BYTES(bytes::fromHex("61 00 62 00"), written);
}

TEST(ByteWriter, WritesWhatTheReaderReads)
{
    Bytes written;
    ByteWriter writer(written);
    for (uint64_t bit = 1; bit != 0; bit <<= 1) {
        writer.u64(bit);
        writer.u32(static_cast<uint32_t>(bit));
        writer.u16(static_cast<uint16_t>(bit));
        writer.u8(static_cast<uint8_t>(bit));
    }
    ByteReader reader(written);
    for (uint64_t bit = 1; bit != 0; bit <<= 1) {
        EXPECT_EQ(bit, reader.u64());
        EXPECT_EQ(static_cast<uint32_t>(bit), reader.u32());
        EXPECT_EQ(static_cast<uint16_t>(bit), reader.u16());
        EXPECT_EQ(static_cast<uint8_t>(bit), reader.u8());
    }
    EXPECT_EQ(0U, reader.remaining());
}

TEST(HexDump, MarksTheDifferingBytes)
{
    Bytes const expected = bytes::fromHex("00 11 22 33 44 55 66 77 88 99 AA BB CC DD EE FF 01");
    Bytes const actual = bytes::fromHex("00 11 23 33 44 55 66 77 88 99 AA BB CC DD EE FF 01 02");
    testing::AssertionResult const result = bytes::same("one", "other", expected, actual);
    EXPECT_FALSE(result);
    EXPECT_STREQ("one and other differ, 17 and 18 bytes\n"
                 "  offset 0\n"
                 "    expected 00 11 22 33 44 55 66 77 88 99 AA BB CC DD EE FF\n"
                 "    actual   00 11 23 33 44 55 66 77 88 99 AA BB CC DD EE FF\n"
                 "                   ^^\n"
                 "  offset 16\n"
                 "    expected 01\n"
                 "    actual   01 02\n"
                 "                ^^",
                 result.message());
}

TEST(HexDump, RefusesWhatIsNotHexadecimal)
{
    EXPECT_THROW(bytes::fromHex("0"), std::invalid_argument);
    EXPECT_THROW(bytes::fromHex("0G"), std::invalid_argument);
}
