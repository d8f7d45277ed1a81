// Frames whose length is large, or said to be.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>

#include "src/ipc/IPCFrame.h"
#include "testkit/Allocations.h"
#include "testkit/HostStandIn.h"
#include "testkit/LinkSupport.h"

using namespace testlink;
using testing::ElementsAre;

namespace {

/// @return memory of this process that is really there, in bytes
size_t residentBytes()
{
    std::ifstream file("/proc/self/statm");
    size_t total = 0;
    size_t resident = 0;
    file >> total >> resident;
    return resident * static_cast<size_t>(sysconf(_SC_PAGESIZE));
}

Bytes headerOf(uint32_t length)
{
    Bytes header(IPCFrameHeader::Size);
    writeFrameHeader({IPC_PAYLOAD_RAW, IPC_BROWSER_CONFIG, length}, header.data());
    return header;
}

class LongFrame : public testing::Test {
protected:
    void SetUp() override
    {
        middleware = link.startAndAccept(listener);
        standin::clearLog();
    }
    void expectReconnect()
    {
        ASSERT_TRUE(link.handler.waitFor("connected", 2));
        EXPECT_THAT(link.handler.events(), ElementsAre("connected", "disconnected", "connected"));
    }

    zelobox::Listener listener;
    zelobox::Connection middleware{zelobox::Descriptor()};
    Link link; // goes first, without an event that a test did not wait for
};

class UnbearableLength : public LongFrame, public testing::WithParamInterface<uint32_t> {};

} // namespace

TEST_F(LongFrame, OfSeveralMegabytesArrivesWhole)
{
    zelobox::Frame const sent = {IPC_PAYLOAD_RAW, IPC_BROWSER_CONFIG, pattern(5 * 1024 * 1024 + 3)};
    middleware.send(sent, Milliseconds(30000));
    ASSERT_TRUE(link.handler.waitFor("message 24"));
    EXPECT_TRUE(sent == link.handler.frames().at(0));
}

TEST_P(UnbearableLength, IsAReadErrorWithoutATrace)
{
    middleware.sendBytes(headerOf(GetParam()));
    expectReconnect();
    EXPECT_THAT(logged(), ElementsAre(line::readError, line::connected, line::retrierOk));
    EXPECT_TRUE(standin::logLines("New message received").empty());
}

INSTANTIATE_TEST_SUITE_P(Lengths, UnbearableLength, testing::Values(0x80000000U, 0xFFFFFFFFU));

TEST_F(LongFrame, ThatOnlySaysSoCostsNoMemory)
{
    size_t const before = residentBytes();
    middleware.sendBytes(headerOf(0x7FFFFFFF));
    ASSERT_TRUE(standin::waitForLog("New message received: 24 length 2147483647"));
    size_t const arrived = 1024 * 1024;
    middleware.sendBytes(Bytes(arrived, 'x'));
    // The connection stays: what ends it is the close.
    EXPECT_TRUE(middleware.isSilentFor(Milliseconds(300)));
    size_t const after = residentBytes();
    EXPECT_LT(after, before + 8 * arrived) << "memory before " << before;
    middleware.close();
    expectReconnect();
    EXPECT_THAT(logged(), ElementsAre(line::peerClosed, line::connected, line::retrierOk));
}

TEST_F(LongFrame, ThatFindsNoMemoryEndsTheConnection)
{
    uint32_t const length = 77777;
    allocations::FailingSize const failing(length);
    middleware.sendBytes(headerOf(length));
    expectReconnect();
    EXPECT_THAT(logged(), ElementsAre(line::readError, line::connected, line::retrierOk));
    EXPECT_EQ(1U, standin::logLines("New message received: 24 length 77777").size());
}
