#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zelobox/protocol/Trace.h"

using namespace zelobox;
using testing::HasSubstr;

namespace {

using Event = TraceRecord::Event;

TraceRecord record(Event event)
{
    TraceRecord made;
    made.time = 1795219200012345;
    made.connection = 2;
    made.event = event;
    return made;
}

std::string errorOf(std::string const& line)
{
    try {
        traceRecordFrom(Json::parse(line), "trace line 1");
    } catch (InputError const& error) {
        return error.what();
    }
    return "no error";
}

} // namespace

TEST(Trace, WritesAFrame)
{
    TraceRecord made = record(Event::Frame);
    made.frame = {1, 39, {0, 0, 0, 30}};
    EXPECT_EQ(R"({"time":1795219200.012345,"connection":2,"direction":"toHost","name":"IPC_VOLUME","kind":1,"type":39,)"
              R"("fields":{"value":30},"hex":"6d010027000000040000001e"})",
              lineOf(jsonOf(made)));
    EXPECT_EQ("IPC_VOLUME value=30", textOf(made));
}

TEST(Trace, WritesWhatIsNoFrame)
{
    TraceRecord lost = record(Event::Disconnected);
    lost.reason = "closed by the client";
    TraceRecord raw = record(Event::Raw);
    raw.direction = Direction::ToMiddleware;
    raw.bytes = {0, 1};
    EXPECT_EQ(R"({"time":1795219200.012345,"connection":2,"event":"connected"})",
              lineOf(jsonOf(record(Event::Connected))));
    EXPECT_EQ(R"({"time":1795219200.012345,"connection":2,"event":"disconnected","reason":"closed by the client"})",
              lineOf(jsonOf(lost)));
    EXPECT_EQ(R"({"time":1795219200.012345,"connection":2,"direction":"toMiddleware","event":"raw","hex":"0001"})",
              lineOf(jsonOf(raw)));
    EXPECT_EQ("disconnected: closed by the client", textOf(lost));
    EXPECT_EQ("raw bytes 0001", textOf(raw));
}

TEST(Trace, ComesBackFromItsLine)
{
    TraceRecord frame = record(Event::Frame);
    frame.direction = Direction::ToMiddleware;
    frame.frame = {200, 65535, {1, 2, 3}};
    TraceRecord raw = record(Event::Raw);
    raw.bytes = {'\xff'};
    TraceRecord lost = record(Event::Disconnected);
    lost.reason = "why";
    for (TraceRecord const& made : {frame, raw, lost, record(Event::Connected)}) {
        TraceRecord const back = traceRecordFrom(Json::parse(lineOf(jsonOf(made))), "trace");
        EXPECT_EQ(made.time, back.time);
        EXPECT_EQ(made.connection, back.connection);
        EXPECT_EQ(made.event, back.event);
        EXPECT_EQ(made.direction, back.direction);
        EXPECT_EQ(made.frame, back.frame);
        EXPECT_EQ(made.bytes, back.bytes);
        EXPECT_EQ(made.reason, back.reason);
    }
}

TEST(Trace, NamesTheFieldThatIsWrong)
{
    EXPECT_THAT(errorOf("[]"), HasSubstr("trace line 1: expected an object"));
    EXPECT_THAT(errorOf(R"({"connection":1})"), HasSubstr("field \"time\": is missing"));
    EXPECT_THAT(errorOf(R"({"time":"now","connection":1})"), HasSubstr("field \"time\": expected seconds"));
    EXPECT_THAT(errorOf(R"({"time":1,"connection":-1})"), HasSubstr("field \"connection\": expected a whole number"));
    EXPECT_THAT(errorOf(R"({"time":1,"connection":1,"event":"gone"})"),
                HasSubstr("field \"event\": expected \"connected\""));
    EXPECT_THAT(errorOf(R"({"time":1,"connection":1,"direction":"in","hex":""})"),
                HasSubstr("field \"direction\": expected"));
    for (char const* const hex : {"", "6d", "6d0100270000000400", "6e01002700000000", "6d0100270000000000", "zz"}) {
        Json const line = {{"time", 1}, {"connection", 1}, {"direction", "toHost"}, {"hex", hex}};
        EXPECT_THAT(errorOf(line.dump()), HasSubstr("field \"hex\": ")) << hex;
    }
}

TEST(Trace, HasATimeThatNeverGoesBack)
{
    int64_t last = traceTime();
    for (int i = 0; i < 1000; ++i) {
        int64_t const now = traceTime();
        EXPECT_LE(last, now);
        last = now;
    }
    auto const wall = std::chrono::system_clock::now().time_since_epoch();
    EXPECT_NEAR(static_cast<double>(last),
                static_cast<double>(std::chrono::microseconds(wall / std::chrono::microseconds(1)).count()), 60e6);
}
