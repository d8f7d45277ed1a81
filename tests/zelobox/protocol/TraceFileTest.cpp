#include "zelobox/protocol/TraceFile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/zelobox/Program.h"
#include "zelobox/capture/TraceReading.h"
#include "zelobox/protocol/MessageTable.h"

using namespace zelobox;
using testing::HasSubstr;

namespace {

using Event = TraceRecord::Event;

TraceRecord record(Event event, Direction direction = Direction::ToHost)
{
    static int64_t time = 1795219200012345;
    TraceRecord made;
    made.time = ++time;
    made.connection = 0x01020304;
    made.event = event;
    made.direction = direction;
    return made;
}

/// Every event, every message, payloads of every length up to nine.
std::vector<TraceRecord> everything()
{
    std::vector<TraceRecord> records = {record(Event::Connected)};
    for (MessageInfo const& info : messageTable()) {
        records.push_back(record(Event::Frame, info.toHost ? Direction::ToHost : Direction::ToMiddleware));
        records.back().frame = {static_cast<uint8_t>(info.kind), static_cast<uint16_t>(info.type),
                                std::vector<char>(records.size() % 10, 'z')};
    }
    for (Direction const direction : {Direction::ToHost, Direction::ToMiddleware}) {
        records.push_back(record(Event::Raw, direction));
        records.back().bytes = {'m', '\xff', 0};
    }
    records.push_back(record(Event::Disconnected));
    records.back().reason = "closed by the client";
    return records;
}

std::string linesOf(std::vector<TraceRecord> const& records)
{
    std::string lines;
    for (TraceRecord const& each : records) {
        lines += lineOf(jsonOf(each)) + "\n";
    }
    return lines;
}

std::vector<TraceRecord> parse(std::string const& contents)
{
    std::vector<TraceRecord> records;
    readTrace(contents, "trace", traceFormatIn(contents),
              [&records](TraceRecord const& each) { records.push_back(each); });
    return records;
}

std::string errorOf(std::string const& contents)
{
    try {
        parse(contents);
    } catch (InputError const& error) {
        return error.what();
    }
    return "no error";
}

/// A block in the other byte order than ours.
std::string littleEndian(uint32_t type, std::string const& body)
{
    auto const number = [](size_t value) {
        std::string bytes;
        for (unsigned shift = 0; shift < 32; shift += 8) {
            bytes += static_cast<char>(value >> shift & 0xFF);
        }
        return bytes;
    };
    return number(type) + number(body.size() + 12) + body + number(body.size() + 12);
}

std::string const littleSection =
    littleEndian(0x0A0D0D0A, std::string("\x4D\x3C\x2B\x1A\1\0\0\0\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF", 16));

} // namespace

TEST(TraceFile, ComesBackTheSameFromEitherFormat)
{
    program::Directory const directory;
    for (char const* const name : {"trace.jsonl", "trace.pcapng"}) {
        TraceWriter writer(directory.path(name));
        for (TraceRecord const& each : everything()) {
            writer.write(each);
        }
    }
    std::string const lines = contentsOf(directory.path("trace.jsonl"));
    EXPECT_EQ(lines, linesOf(parse(lines)));
    std::string const packets = contentsOf(directory.path("trace.pcapng"));
    EXPECT_EQ("\x0A\x0D\x0D\x0A", packets.substr(0, 4));
    EXPECT_EQ(everything().size(), readTrace(directory.path("trace.pcapng")).size());
}

TEST(TraceFile, LosesNothingByWayOfPcapng)
{
    std::vector<TraceRecord> const records = everything();
    EXPECT_EQ(linesOf(records), linesOf(parse(pcapngOf(records))));
}

TEST(TraceFile, IsCompleteAfterEveryRecord)
{
    program::Directory const directory;
    for (char const* const name : {"trace.jsonl", "trace.pcapng"}) {
        TraceWriter writer(directory.path(name));
        size_t count = 0;
        for (TraceRecord const& each : everything()) {
            writer.write(each);
            EXPECT_EQ(++count, readTrace(directory.path(name)).size());
        }
    }
}

TEST(TraceFile, IsBegunAnew)
{
    program::Directory const directory;
    for (int i = 0; i < 2; ++i) {
        TraceWriter(directory.path("trace")).write(record(Event::Connected));
    }
    EXPECT_EQ(1U, readTrace(directory.path("trace")).size());
}

TEST(TraceFile, SaysWhyItCannotBeWrittenOrRead)
{
    EXPECT_THAT([] { TraceWriter("/nowhere/trace"); },
                testing::ThrowsMessage<InputError>("/nowhere/trace: cannot be written: No such file or directory"));
    EXPECT_THAT([] { readTrace("/nowhere/trace"); },
                testing::ThrowsMessage<InputError>("/nowhere/trace: cannot be read: No such file or directory"));
    TraceWriter full("/dev/full");
    EXPECT_THAT([&] { full.write(record(Event::Connected)); },
                testing::ThrowsMessage<InputError>("/dev/full: cannot be written: No space left on device"));
}

TEST(TraceFile, NamesTheLineThatIsWrong)
{
    std::string const good = lineOf(jsonOf(record(Event::Connected))) + "\n";
    EXPECT_EQ("trace line 3: is no JSON; expected one record of a trace on each line", errorOf(good + "\n{\n" + good));
    EXPECT_THAT(errorOf(good + good + "{}\n"), HasSubstr("trace line 3: field \"time\": is missing"));
}

TEST(TraceFile, HandsOverWhatStandsBeforeAnError)
{
    for (std::string const& contents : {linesOf(everything()) + "?", pcapngOf(everything()) + "?"}) {
        size_t count = 0;
        EXPECT_THROW(readTrace(contents, "trace", traceFormatIn(contents), [&count](TraceRecord const&) { ++count; }),
                     InputError);
        EXPECT_EQ(everything().size(), count);
    }
}

TEST(Pcapng, NamesTheOffsetWhereItIsCut)
{
    std::string const head = pcapngOf({});
    std::string const whole = pcapngOf({record(Event::Connected)});
    for (size_t size = head.size() + 1; size < whole.size(); ++size) {
        EXPECT_EQ("trace at offset " + std::to_string(head.size()) + ": the file is cut short",
                  errorOf(whole.substr(0, size)));
    }
}

TEST(Pcapng, RefusesWhatItDoesNotUnderstand)
{
    std::string const head = pcapngOf({});
    std::string const whole = pcapngOf({record(Event::Connected)});
    auto const with = [](std::string contents, size_t offset, char byte) {
        contents.at(offset) = byte;
        return errorOf(contents);
    };
    size_t const interface = head.find("zelo_messenger") - 20;
    EXPECT_THAT(with(whole, 8, 0), HasSubstr("at offset 0: the section has no byte order"));
    EXPECT_THAT(with(whole, interface + 9, 1), HasSubstr("the link type is 1, expected 147"));
    EXPECT_THAT(with(whole, head.size() + 7, 3), HasSubstr("no block has the length 3"));
    EXPECT_THAT(with(whole, head.size() + 11, 1), HasSubstr("the packet belongs to no interface"));
    EXPECT_THAT(with(whole, head.size() + 27, 99), HasSubstr("the packet is cut short"));
    EXPECT_THAT(with(whole, head.size() + 28, 2), HasSubstr("does not begin with the header"));
    EXPECT_THAT(with(whole, head.size() + 29, 4), HasSubstr("unknown event 4"));
    EXPECT_THAT(with(whole, head.size() + 29, 0), HasSubstr("not one whole frame"));
}

TEST(Pcapng, ReadsTheOtherByteOrderNanosecondsAndUnknownBlocks)
{
    std::string const interface = littleEndian(1, std::string("\x93\0\0\0\0\0\0\0\x09\0\1\0\x09\0\0\0\0\0\0\0", 20));
    std::string const unknown = littleEndian(5, "statistics..");
    // 1795219200.012345678 s
    std::string const packet = littleEndian(
        6, std::string("\0\0\0\0\x4F\xDF\xE9\x18\x4E\xD8\x6D\x6D\x08\0\0\0\x08\0\0\0\1\1\0\0\0\0\0\7", 28));
    std::vector<TraceRecord> const records = parse(littleSection + interface + unknown + packet);
    ASSERT_EQ(1U, records.size());
    EXPECT_EQ(Event::Connected, records[0].event);
    EXPECT_EQ(7U, records[0].connection);
    EXPECT_EQ(int64_t(0x18E9DF4F6D6DD84E / 1000), records[0].time);
}

TEST(Pcapng, BeginsWithNewInterfacesInEverySection)
{
    std::string const two = pcapngOf({record(Event::Connected)}) + pcapngOf({record(Event::Connected)});
    EXPECT_EQ(2U, parse(two).size());
    std::string const packet = pcapngOf({record(Event::Connected)}).substr(pcapngOf({}).size());
    EXPECT_THAT(errorOf(two + littleSection + littleEndian(6, std::string(20, '\0'))), HasSubstr("no interface"));
    EXPECT_EQ(3U, parse(two + packet).size());
}
