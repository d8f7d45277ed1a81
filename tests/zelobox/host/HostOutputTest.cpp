#include <gtest/gtest.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

#include "zelobox/base/Descriptor.h"
#include "zelobox/host/HostOutput.h"

using zelobox::Descriptor;
using zelobox::HostOutput;
using zelobox::Json;

namespace {

/// A target that keeps the bounds of what is written.
struct Packets {
    Packets()
    {
        int ends[2];
        EXPECT_EQ(0, socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK, 0, ends));
        written.reset(ends[0]);
        target.reset(ends[1]);
    }

    /// @return what one write has written; empty if there was none
    std::string next() const
    {
        char bytes[4096];
        ssize_t const count = recv(written.get(), bytes, sizeof bytes, 0);
        return {bytes, count > 0 ? static_cast<size_t>(count) : 0};
    }

    Descriptor written;
    Descriptor target;
};

} // namespace

TEST(HostOutput, WritesEachReportAtOnce)
{
    Packets const packets;
    HostOutput people(false, packets.target.get());
    people.result("start", Json::object());
    people.callback("key", {{"key", 13}, {"name", "Return"}});
    HostOutput scripts(true, packets.target.get());
    scripts.error("vol", "no such command");
    EXPECT_EQ("result start\n", packets.next());
    EXPECT_EQ("callback key: key=13 name=\"Return\"\n", packets.next());
    EXPECT_EQ("{\"result\":\"error\",\"command\":\"vol\",\"problem\":\"no such command\"}\n", packets.next());
    people.error("vol", "there is no such command");
    people.result("help", {{"ui", "size"}}, "  ui\n  size\n");
    EXPECT_EQ("error: there is no such command\n", packets.next());
    EXPECT_EQ("  ui\n  size\n", packets.next());
    EXPECT_EQ("", packets.next());
}

TEST(HostOutput, TakesThePromptAwayAndHasItDrawnAgain)
{
    Packets const packets;
    Descriptor const redraw(eventfd(0, EFD_NONBLOCK));
    HostOutput output(false, packets.target.get());
    output.setRedraw(redraw.get());
    output.result("start", Json::object());
    EXPECT_EQ("\r\033[Kresult start\n", packets.next());
    eventfd_t count = 0;
    EXPECT_EQ(0, eventfd_read(redraw.get(), &count));
}
