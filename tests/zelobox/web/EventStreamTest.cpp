#include "zelobox/web/EventStream.h"

#include <gtest/gtest.h>

#include <thread>

using namespace zelobox;

TEST(EventStream, HandsOverWhatHasComeMeanwhile)
{
    EventStream stream;
    EXPECT_EQ("", *stream.take(Milliseconds(1)));
    stream.push("one ");
    stream.push("two");
    EXPECT_EQ("one two", *stream.take(Milliseconds(30000)));
}

TEST(EventStream, WakesTheOneThatWaits)
{
    EventStream stream;
    std::thread writer([&stream] { stream.push("text"); });
    EXPECT_EQ("text", *stream.take(Milliseconds(30000)));
    writer.join();
    std::thread closer([&stream] { stream.close(); });
    EXPECT_FALSE(stream.take(Milliseconds(30000)).has_value());
    closer.join();
}

TEST(EventStream, ClosesWhenThePageDoesNotRead)
{
    EventStream stream;
    stream.push(std::string(EventStream::limit, 'x'));
    EXPECT_FALSE(stream.isClosed());
    stream.push("x");
    EXPECT_TRUE(stream.isClosed());
}
