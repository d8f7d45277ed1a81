#include "zelobox/capture/StreamDecoder.h"

#include <gtest/gtest.h>

using namespace zelobox;

namespace {

std::string volume(char value)
{
    return std::string("m\1\0\x27\0\0\0\4\0\0\0", 11) + value;
}

/// What a decoder says of bytes that come in pieces: "1 F raw:0011 2" for frames by their last byte and raw bytes.
std::string decode(std::string const& bytes, size_t piece)
{
    StreamDecoder decoder;
    std::string all;
    std::string text;
    std::vector<char> raw;
    auto const take = [&](TraceRecord const& record) {
        std::vector<char> const part = record.event == TraceRecord::Event::Raw ? record.bytes : bytesOf(record.frame);
        all.append(part.begin(), part.end());
        EXPECT_EQ(all.size(), decoder.position());
        if (record.event == TraceRecord::Event::Raw) {
            raw.insert(raw.end(), part.begin(), part.end());
            return;
        }
        text += raw.empty() ? "" : "raw:" + hexOf(raw) + " ";
        raw.clear();
        text += std::to_string(record.frame.payload.empty() ? -1 : record.frame.payload.back()) + " ";
    };
    for (size_t offset = 0; offset < bytes.size(); offset += piece) {
        std::string const part = bytes.substr(offset, piece);
        decoder.append(part.data(), part.size());
        while (std::optional<TraceRecord> const record = decoder.next()) {
            take(*record);
        }
        EXPECT_EQ(offset + part.size(), decoder.position() + decoder.pending());
    }
    while (std::optional<TraceRecord> const record = decoder.next(true)) {
        take(*record);
    }
    EXPECT_EQ(bytes, all) << "every byte comes out once, in order";
    return text + (raw.empty() ? "" : "raw:" + hexOf(raw));
}

/// The same, whatever the pieces are.
std::string decode(std::string const& bytes)
{
    std::string const text = decode(bytes, bytes.size());
    for (size_t piece = 1; piece < bytes.size(); ++piece) {
        EXPECT_EQ(text, decode(bytes, piece)) << "in pieces of " << piece;
    }
    return text;
}

} // namespace

TEST(StreamDecoder, GivesFramesOneAfterAnother)
{
    EXPECT_EQ("1 2 -1 3 ", decode(volume(1) + volume(2) + std::string("m\0\0\x17\0\0\0\0", 8) + volume(3)));
}

TEST(StreamDecoder, TakesUnknownTypesAndKindsWhileInStep)
{
    EXPECT_EQ("1 7 2 ", decode(volume(1) + std::string("m\xC8\xFF\xFF\0\0\0\1\7", 9) + volume(2)));
}

TEST(StreamDecoder, GoesOnAfterBytesThatAreNoFrame)
{
    EXPECT_EQ("1 raw:000102 2 ", decode(volume(1) + std::string("\0\1\2", 3) + volume(2)));
    EXPECT_EQ("raw:ff 2 ", decode("\xFF" + volume(2)));
    EXPECT_EQ("1 raw:ff", decode(volume(1) + "\xFF"));
}

TEST(StreamDecoder, TakesNoSyncByteInGarbageForAFrame)
{
    // A type and a kind that nobody knows.
    EXPECT_EQ("raw:006d6d2e6d010063000000006d0600270000000000 2 ",
              decode(std::string("\0mm.m\1\0\x63\0\0\0\0m\6\0\x27\0\0\0\0\0", 21) + volume(2)));
}

TEST(StreamDecoder, HandsOverAFrameThatIsCut)
{
    std::string const whole = volume(2);
    std::vector<char> const bytes(whole.begin(), whole.end());
    for (size_t size = 1; size < whole.size(); ++size) {
        EXPECT_EQ("1 raw:" + hexOf(bytes).substr(0, 2 * size), decode(volume(1) + whole.substr(0, size)));
    }
}

TEST(StreamDecoder, GoesOnBehindALengthThatLies)
{
    std::string const huge("m\1\0\x27\xFF\xFF\xFF\xFF", 8);
    std::string const longer("m\1\0\x27\0\0\1\0", 8);
    EXPECT_EQ("raw:6d010027ffffffff 2 3 ", decode(huge + volume(2) + volume(3)));
    EXPECT_EQ("raw:6d01002700000100 2 3 ", decode(longer + volume(2) + volume(3)));
}
