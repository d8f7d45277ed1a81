#include "src/ipc/IPCFrame.h"

#include <gtest/gtest.h>

#include "testkit/Bytes.h"

namespace {

using Bytes = std::vector<char>;

struct Case {
    char const* bytes;
    IPCFrameHeader header;
};

Case const cases[] = {
    {"6D 01 00 1A 00 00 00 04", {1, 26, 4}},
    {"6D 00 00 17 00 00 00 00", {0, 23, 0}},
    {"6D FF FF FF FF FF FF FF", {255, 65535, 0xFFFFFFFF}},
    {"6D 02 12 34 56 78 9A BC", {2, 0x1234, 0x56789ABC}},
};

} // namespace

TEST(FrameHeader, IsEncodedIntoEightBytes)
{
    for (Case const& example : cases) {
        Bytes written(IPCFrameHeader::Size + 2, 'x');
        writeFrameHeader(example.header, written.data() + 1);
        EXPECT_SAME_BYTES(bytes::fromHex(std::string("78") + example.bytes + "78"), written);
    }
}

TEST(FrameHeader, IsDecodedFromEightBytes)
{
    for (Case const& example : cases) {
        SCOPED_TRACE(example.bytes);
        Bytes const received = bytes::fromHex(example.bytes);
        ASSERT_EQ(IPCFrameHeader::Size, received.size());
        IPCFrameHeader header = {};
        EXPECT_TRUE(readFrameHeader(received.data(), header));
        EXPECT_EQ(example.header.kind, header.kind);
        EXPECT_EQ(example.header.type, header.type);
        EXPECT_EQ(example.header.length, header.length);
    }
}

TEST(FrameHeader, IsRefusedAndLeftAsItWasWithoutTheSyncByte)
{
    for (unsigned sync = 0; sync < 256; ++sync) {
        Bytes received = bytes::fromHex("00 01 00 1A 00 00 00 04");
        received[0] = static_cast<char>(sync);
        IPCFrameHeader header = {9, 8, 7};
        EXPECT_EQ(sync == 'm', readFrameHeader(received.data(), header)) << sync;
        if (sync != 'm') {
            EXPECT_EQ(9, header.kind);
            EXPECT_EQ(8, header.type);
            EXPECT_EQ(7U, header.length);
        }
    }
}
