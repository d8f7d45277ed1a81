#include "src/common/ByteReader.h"

#include <gtest/gtest.h>

#include <functional>

#include "testkit/Bytes.h"

namespace {

using Bytes = std::vector<char>;

struct Field {
    char const* name;
    size_t width;
    std::function<uint64_t(ByteReader&)> read;
    uint64_t value; // of the bytes 81 02 83 04 85 06 87 08
};

std::vector<Field> const fields = {
    {"u8", 1, [](ByteReader& reader) { return reader.u8(); }, 0x81},
    {"u16", 2, [](ByteReader& reader) { return reader.u16(); }, 0x8102},
    {"u32", 4, [](ByteReader& reader) { return reader.u32(); }, 0x81028304},
    {"u64", 8, [](ByteReader& reader) { return reader.u64(); }, 0x8102830485068708},
};

Bytes firstBytes(size_t size)
{
    Bytes const all = bytes::fromHex("81 02 83 04 85 06 87 08");
    return Bytes(all.begin(), all.begin() + static_cast<std::ptrdiff_t>(size));
}

void expectAllFail(ByteReader& reader)
{
    for (Field const& field : fields) {
        EXPECT_EQ(0U, field.read(reader)) << field.name;
        EXPECT_TRUE(reader.failed()) << field.name;
    }
    EXPECT_EQ("", reader.text(0));
    EXPECT_EQ("", reader.text(1));
    reader.skip(0);
    EXPECT_TRUE(reader.failed());
}

} // namespace

TEST(ByteReader, ReadsEveryWidthBigEndian)
{
    for (Field const& field : fields) {
        SCOPED_TRACE(field.name);
        Bytes const payload = firstBytes(field.width);
        ByteReader reader(payload);
        EXPECT_EQ(field.value, field.read(reader));
        EXPECT_FALSE(reader.failed());
        EXPECT_EQ(0U, reader.remaining());
    }
}

TEST(ByteReader, RefusesEveryPrefixOfAField)
{
    for (Field const& field : fields) {
        for (size_t size = 0; size < field.width; ++size) {
            SCOPED_TRACE(testing::Message() << size << " bytes of a " << field.name);
            Bytes const payload = firstBytes(size);
            ByteReader reader(payload);
            EXPECT_EQ(0U, field.read(reader));
            EXPECT_TRUE(reader.failed());
        }
    }
}

TEST(ByteReader, ReadsFieldsOneAfterAnother)
{
    Bytes const payload = bytes::fromHex("01 0203 04050607 08090A0B0C0D0E0F 78 00 79 FF");
    ByteReader reader(payload);
    EXPECT_EQ(0x01U, reader.u8());
    EXPECT_EQ(0x0203U, reader.u16());
    EXPECT_EQ(0x04050607U, reader.u32());
    EXPECT_EQ(0x08090A0B0C0D0E0FU, reader.u64());
    EXPECT_EQ(std::string("x\0y", 3), reader.text(3));
    EXPECT_EQ(1U, reader.remaining());
    reader.skip(1);
    EXPECT_EQ(0U, reader.remaining());
    EXPECT_FALSE(reader.failed());
}

TEST(ByteReader, FailsForEverAfterTheFirstFailure)
{
    Bytes const payload = firstBytes(3);
    ByteReader reader(payload);
    EXPECT_EQ(0U, reader.u32());
    expectAllFail(reader);
}

TEST(ByteReader, FailsForEverAfterADecoderSaidSo)
{
    Bytes const payload = firstBytes(8);
    ByteReader reader(payload);
    reader.fail();
    expectAllFail(reader);
}

TEST(ByteReader, RefusesATextThatIsNotAllThere)
{
    for (size_t const length : {size_t{4}, size_t{0x7FFFFFFF}, size_t{0xFFFFFFFC}, SIZE_MAX}) {
        SCOPED_TRACE(length);
        Bytes const payload = firstBytes(3);
        ByteReader reader(payload);
        EXPECT_EQ("", reader.text(length));
        EXPECT_TRUE(reader.failed());
    }
}

TEST(ByteReader, RefusesToSkipBeyondTheEnd)
{
    for (size_t const count : {size_t{3}, SIZE_MAX - 1, SIZE_MAX}) {
        SCOPED_TRACE(count);
        Bytes const payload = firstBytes(3);
        ByteReader reader(payload);
        reader.u8();
        reader.skip(count);
        EXPECT_TRUE(reader.failed());
    }
}

TEST(ByteReader, ReadsNothingFromNothing)
{
    ByteReader reader(nullptr, 0);
    EXPECT_EQ("", reader.text(0));
    reader.skip(0);
    EXPECT_FALSE(reader.failed());
    EXPECT_EQ(0U, reader.u8());
    EXPECT_TRUE(reader.failed());
}
