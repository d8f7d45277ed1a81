#include <gtest/gtest.h>

#include "zelobox/protocol/FrameReader.h"
#include "zelobox/protocol/Peer.h"

using namespace zelobox;

namespace {

Frame const first = {1, 39, {0, 0, 0, 30}};
Frame const second = {4, 49, {0, 0, 0, 1, 'a', 0}};

std::vector<char> both()
{
    std::vector<char> bytes = bytesOf(first);
    std::vector<char> const more = bytesOf(second);
    bytes.insert(bytes.end(), more.begin(), more.end());
    return bytes;
}

} // namespace

TEST(FrameReader, GivesFramesThatComeInOnePiece)
{
    FrameReader reader;
    std::vector<char> const bytes = both();
    reader.append(bytes.data(), bytes.size());
    EXPECT_EQ(first, reader.next());
    EXPECT_EQ(second, reader.next());
    EXPECT_EQ(std::nullopt, reader.next());
    EXPECT_EQ(0U, reader.pending());
}

TEST(FrameReader, PutsFramesTogetherByteByByte)
{
    FrameReader reader;
    std::vector<Frame> frames;
    for (char const byte : both()) {
        reader.append(&byte, 1);
        while (std::optional<Frame> const frame = reader.next()) {
            frames.push_back(*frame);
        }
    }
    EXPECT_EQ((std::vector<Frame>{first, second}), frames);
}

TEST(FrameReader, GivesAFrameWithoutPayload)
{
    FrameReader reader;
    std::vector<char> const bytes = bytesOf({0, 23, {}});
    reader.append(bytes.data(), bytes.size());
    EXPECT_EQ((Frame{0, 23, {}}), reader.next());
}

TEST(FrameReader, FailsOnAWrongSyncByte)
{
    FrameReader reader;
    std::vector<char> bytes = both();
    bytes[bytesOf(first).size()] = 'n';
    reader.append(bytes.data(), bytes.size());
    EXPECT_EQ(first, reader.next());
    EXPECT_THROW(reader.next(), PeerError);
}

TEST(FrameReader, WaitsForALengthThatLies)
{
    FrameReader reader;
    reader.append("m\x01\x00\x27\xff\xff\xff\xff", 8);
    EXPECT_EQ(std::nullopt, reader.next());
    EXPECT_EQ(8U, reader.pending());
}
