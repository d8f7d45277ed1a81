#include "zelobox/capture/ReplayScript.h"

#include <gtest/gtest.h>

using namespace zelobox;

namespace {

using Event = TraceRecord::Event;
using Kind = ReplayStep::Kind;

/// Records that are made as they are asked for.
class Trace {
public:
    Trace& add(unsigned connection, Event event, Direction direction = Direction::ToHost)
    {
        TraceRecord record;
        record.time = 1000 * static_cast<int64_t>(records.size());
        record.connection = connection;
        record.event = event;
        record.direction = direction;
        record.frame = {IPC_PAYLOAD_UINT32, IPC_VOLUME, {0, 0, 0, 1}};
        record.reason = "closed by the client";
        records.push_back(record);
        return *this;
    }

    ReplayScript script(std::set<uint16_t> const& ignored = {})
    {
        return {[this] { return next < records.size() ? std::optional(records[next++]) : std::nullopt; }, ignored};
    }

    size_t read() const { return next; }

private:
    std::vector<TraceRecord> records;
    size_t next = 0;
};

} // namespace

TEST(ReplayScript, ReadsNoMoreThanTheNextStepNeeds)
{
    Trace trace;
    trace.add(1, Event::Connected);
    for (int i = 0; i < 1000; ++i) {
        trace.add(1, Event::Frame);
    }
    ReplayScript script = trace.script();
    ASSERT_TRUE(script.hasConnection(1));
    EXPECT_EQ(1U, trace.read());
    for (size_t i = 0; i < 1000; ++i) {
        ASSERT_NE(nullptr, script.stepOf(1));
        EXPECT_EQ(i + 2, script.stepOf(1)->record);
        EXPECT_EQ(i + 2, trace.read());
        script.pop(1);
    }
    EXPECT_EQ(nullptr, script.stepOf(1));
}

TEST(ReplayScript, KeepsWhatOtherConnectionsWaitFor)
{
    Trace trace;
    trace.add(1, Event::Connected).add(2, Event::Connected).add(2, Event::Frame).add(1, Event::Frame);
    ReplayScript script = trace.script();
    ASSERT_TRUE(script.hasConnection(1));
    EXPECT_EQ(4U, script.stepOf(1)->record);
    EXPECT_EQ(3U, script.stepOf(2)->record);
    EXPECT_EQ(2U, script.startOf(2)->record);
    EXPECT_EQ(1000, script.startOf(2)->gap);
    EXPECT_EQ(1000, script.stepOf(2)->offset);
}

TEST(ReplayScript, ReadsNothingBehindTheEndOfAConnectionForIt)
{
    Trace trace;
    trace.add(1, Event::Connected).add(1, Event::Disconnected).add(1, Event::Connected).add(1, Event::Frame);
    ReplayScript script = trace.script();
    ASSERT_TRUE(script.hasConnection(1));
    EXPECT_EQ(Kind::ExpectClose, script.stepOf(1)->kind);
    script.pop(1);
    EXPECT_EQ(nullptr, script.stepOf(1));
    EXPECT_EQ(2U, trace.read());
    EXPECT_TRUE(script.hasConnection(2)) << "the number has come again";
    EXPECT_EQ(Kind::Send, script.stepOf(2)->kind);
    EXPECT_FALSE(script.hasConnection(3));
}

TEST(ReplayScript, LeavesOutWhatIsIgnoredAndWhatTheLibrarySentRaw)
{
    Trace trace;
    trace.add(1, Event::Frame, Direction::ToMiddleware).add(1, Event::Raw, Direction::ToMiddleware).add(1, Event::Raw);
    ReplayScript script = trace.script({IPC_VOLUME});
    ASSERT_TRUE(script.hasConnection(1));
    EXPECT_EQ(3U, script.stepOf(1)->record);
}
