#include "zelobox/web/LoopExecutor.h"

#include <gtest/gtest.h>

#include <thread>

using namespace zelobox;

namespace {

EventLoop::Clock::time_point soon()
{
    return EventLoop::Clock::now() + std::chrono::seconds(30);
}

} // namespace

TEST(LoopExecutor, CarriesOutCallsOnTheLoopsThread)
{
    EventLoop loop;
    LoopExecutor executor(loop);
    bool done = false;
    std::thread::id where;
    std::thread caller([&] {
        where = executor.call([] { return std::this_thread::get_id(); });
        executor.post([&done] { done = true; });
    });
    EXPECT_TRUE(loop.run(soon(), [&done] { return done; }));
    caller.join();
    EXPECT_EQ(std::this_thread::get_id(), where);
}

TEST(LoopExecutor, HandsTheExceptionToTheCaller)
{
    EventLoop loop;
    LoopExecutor executor(loop);
    bool done = false;
    std::string problem;
    std::thread caller([&] {
        try {
            executor.call([]() -> int { throw std::runtime_error("what went wrong"); });
        } catch (std::runtime_error const& error) {
            problem = error.what();
        }
        executor.post([&done] { done = true; });
    });
    EXPECT_TRUE(loop.run(soon(), [&done] { return done; }));
    caller.join();
    EXPECT_EQ("what went wrong", problem);
}

TEST(LoopExecutor, RefusesCallsOnceTheLoopEnds)
{
    EventLoop loop;
    LoopExecutor executor(loop);
    std::thread waiting([&executor] { EXPECT_THROW(executor.call([] { return 1; }), LoopExecutor::Closed); });
    std::thread posting([&executor] { EXPECT_THROW(executor.call([] { return 1; }), LoopExecutor::Closed); });
    executor.close();
    waiting.join();
    posting.join();
    EXPECT_THROW(executor.post([] {}), LoopExecutor::Closed);
}
