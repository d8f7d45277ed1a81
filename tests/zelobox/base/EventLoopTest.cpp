#include "zelobox/base/EventLoop.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "zelobox/protocol/Peer.h"

using namespace zelobox;

namespace {

EventLoop::Clock::time_point inSeconds(int seconds)
{
    return EventLoop::Clock::now() + std::chrono::seconds(seconds);
}

struct Pipe {
    Pipe()
    {
        int ends[2];
        EXPECT_EQ(0, pipe2(ends, O_CLOEXEC | O_NONBLOCK));
        out.reset(ends[0]);
        in.reset(ends[1]);
    }

    Descriptor out;
    Descriptor in;
};

} // namespace

TEST(EventLoop, LeavesADescriptorAloneThatNobodyWantsToHearOf)
{
    Pipe pipe;
    EventLoop loop;
    loop.watch(pipe.out.get(), [] { ADD_FAILURE() << "called for an end that nobody reads"; });
    loop.watchReadable(pipe.out.get(), nullptr);
    pipe.in.reset();
    EXPECT_FALSE(loop.turn(EventLoop::Clock::now()));
    bool called = false;
    loop.watchReadable(pipe.out.get(), [&called] { called = true; });
    EXPECT_TRUE(loop.turn(inSeconds(30)));
    EXPECT_TRUE(called);
}

TEST(EventLoop, TellsAWriterThatItsReaderHasGone)
{
    Pipe pipe;
    std::vector<char> const bytes(4096);
    while (write(pipe.in.get(), bytes.data(), bytes.size()) > 0) {
    }
    EventLoop loop;
    bool called = false;
    loop.watch(pipe.in.get(), nullptr);
    loop.watchWritable(pipe.in.get(), [&called] { called = true; });
    EXPECT_FALSE(loop.turn(EventLoop::Clock::now())) << "it takes no more";
    pipe.out.reset();
    EXPECT_TRUE(loop.turn(inSeconds(30)));
    EXPECT_TRUE(called);
}
