#include <gtest/gtest.h>

#include <thread>

#include "zelobox/web/EventStream.h"
#include "zelobox/web/History.h"
#include "zelobox/web/LoopExecutor.h"

using namespace zelobox;

namespace {

TraceRecord record(size_t size)
{
    TraceRecord made;
    made.event = TraceRecord::Event::Raw;
    made.bytes.resize(size);
    return made;
}

EventLoop::Clock::time_point soon()
{
    return EventLoop::Clock::now() + std::chrono::seconds(30);
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

TEST(LoopExecutor, AreCarriedOutOnTheLoopsThread)
{
    EventLoop loop;
    LoopExecutor calls(loop);
    bool done = false;
    std::thread::id where;
    std::thread caller([&] {
        where = calls.call([] { return std::this_thread::get_id(); });
        calls.post([&done] { done = true; });
    });
    EXPECT_TRUE(loop.run(soon(), [&done] { return done; }));
    caller.join();
    EXPECT_EQ(std::this_thread::get_id(), where);
}

TEST(LoopExecutor, HandTheExceptionToTheCaller)
{
    EventLoop loop;
    LoopExecutor calls(loop);
    bool done = false;
    std::string problem;
    std::thread caller([&] {
        try {
            calls.call([]() -> int { throw std::runtime_error("what went wrong"); });
        } catch (std::runtime_error const& error) {
            problem = error.what();
        }
        calls.post([&done] { done = true; });
    });
    EXPECT_TRUE(loop.run(soon(), [&done] { return done; }));
    caller.join();
    EXPECT_EQ("what went wrong", problem);
}

TEST(LoopExecutor, AreRefusedOnceTheLoopEnds)
{
    EventLoop loop;
    LoopExecutor calls(loop);
    std::thread waiting([&calls] { EXPECT_THROW(calls.call([] { return 1; }), LoopExecutor::Closed); });
    std::thread posting([&calls] { EXPECT_THROW(calls.call([] { return 1; }), LoopExecutor::Closed); });
    calls.close();
    waiting.join();
    posting.join();
    EXPECT_THROW(calls.post([] {}), LoopExecutor::Closed);
}
