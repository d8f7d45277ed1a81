#include <gtest/gtest.h>

#include <sstream>

#include "tests/zelobox/middleware/MiddlewareFixture.h"
#include "zelobox/capture/TraceObserver.h"
#include "zelobox/middleware/Timeline.h"
#include "zelobox/protocol/PayloadLayout.h"
#include "zelobox/scenario/Player.h"
#include "zelobox/scenario/RemoteHost.h"
#include "zelobox/web/PageApi.h"

using namespace zelobox;

namespace {

unsigned layoutsAskedFor = 0;

} // namespace

// The linker has both directions, decoding and encoding, ask here for the layout of a payload.
extern "C" {
Layout __real__ZN7zelobox8layoutOfEht(uint8_t kind, uint16_t type);
Layout __wrap__ZN7zelobox8layoutOfEht(uint8_t kind, uint16_t type);
}

Layout __wrap__ZN7zelobox8layoutOfEht(uint8_t kind, uint16_t type)
{
    ++layoutsAskedFor;
    return __real__ZN7zelobox8layoutOfEht(kind, type);
}

namespace {

/// A middleware with everything that looks at its traffic: a timeline, a trace file, a page and a scenario's player.
class DecodeCount : public program::MiddlewareFixture {
protected:
    DecodeCount()
        : timeline(text, false), host(timeline), player(loop, middleware, host, timeline),
          trace(std::make_unique<TraceRing>(directory.path("trace.jsonl"), 0)), executor(loop),
          page(middleware, executor, "")
    {
        middleware.addObserver(timeline);
        middleware.addObserver(trace);
        layoutsAskedFor = 0;
    }

    ~DecodeCount() override { executor.close(); }

    std::ostringstream text;
    Timeline timeline;
    RemoteHost host;
    Player player;
    TraceObserver trace;
    LoopExecutor executor;
    PageApi page;
};

} // namespace

TEST_F(DecodeCount, IsOneForAFrameFromTheLibrary)
{
    Connection client = connect();
    std::shared_ptr<EventStream> const stream = page.openStream("");
    client.send(frameOf(IPCMessageAllowedMessageList({IPC_VOLUME})));
    client.send({IPC_PAYLOAD_RAW, IPC_VIDEO_WINDOW, bytesOfHex("0001 0002 0280 0168 00")});
    client.send(frameOf(IPCMessageSimpleString(IPC_VIDEO_WINDOW_MODE, "fullscreen")));
    seen(4);
    EXPECT_EQ(3U, layoutsAskedFor);
    EXPECT_EQ("1 IPC_VIDEO_WINDOW x=1 y=2 width=640 height=360", seen(4)[2]);
}

TEST_F(DecodeCount, IsOneForAFrameToSeveralLibraries)
{
    Connection one = connect();
    Connection other = connect();
    std::shared_ptr<EventStream> const stream = page.openStream("");
    seen(2);
    EXPECT_EQ(2U, middleware.sendToAll(frameOf(IPCMessageUnsignedInt(IPC_VOLUME, 30))));
    EXPECT_EQ("2 IPC_VOLUME value=30", seen(4).back());
    EXPECT_EQ(1U, layoutsAskedFor);
}

TEST_F(DecodeCount, IsNoneWhereNobodyLooks)
{
    EventLoop quiet;
    Middleware alone(quiet, directory.path("alone"), defaultConfig());
    Connection client = program::connectTo(directory.path("alone"));
    EXPECT_TRUE(
        quiet.run(EventLoop::Clock::now() + std::chrono::seconds(30), [&] { return !alone.clients().empty(); }));
    EXPECT_EQ(1U, alone.sendToAll(frameOf(IPCMessageUnsignedInt(IPC_VOLUME, 30))));
    EXPECT_EQ(30U, alone.state().volume);
    EXPECT_EQ(0U, layoutsAskedFor);
}
