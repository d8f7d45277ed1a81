#include "zelobox/web/History.h"

#include <gtest/gtest.h>

using namespace zelobox;

namespace {

TraceRecord record(size_t size)
{
    TraceRecord made;
    made.event = TraceRecord::Event::Raw;
    made.bytes.resize(size);
    return made;
}

} // namespace

TEST(History, KeepsTheLatestRecords)
{
    History history;
    for (size_t i = 0; i < History::mostRecords + 5; ++i) {
        history.add(record(1));
    }
    EXPECT_EQ(History::mostRecords, history.entries().size());
    EXPECT_EQ(6U, history.entries().front().serial);
    EXPECT_EQ(History::mostRecords + 5, history.lastSerial());
}

TEST(History, KeepsFewerThatAreLong)
{
    History history;
    for (int i = 0; i < 40; ++i) {
        history.add(record(1 << 20));
    }
    EXPECT_EQ(31U, history.entries().size());
    history.add(record(64 << 20));
    EXPECT_EQ(1U, history.entries().size());
    history.add(record(1));
    EXPECT_EQ(1U, history.entries().size());
}
