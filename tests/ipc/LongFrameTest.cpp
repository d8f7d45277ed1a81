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

struct Memory {
    size_t addressSpace = 0;
    size_t resident = 0; ///< is really there
};

/// @return of this process, in bytes
Memory memory()
{
    std::ifstream file("/proc/self/statm");
    Memory pages;
    file >> pages.addressSpace >> pages.resident;
    size_t const page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    return {pages.addressSpace * page, pages.resident * page};
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
    Memory const before = memory();
    middleware.sendBytes(headerOf(0x7FFFFFFF));
    ASSERT_TRUE(standin::waitForLog("New message received: 24 length 2147483647"));
    size_t const arrived = 1024 * 1024;
    middleware.sendBytes(Bytes(arrived, 'x'));
    // The connection stays: what ends it is the close.
    EXPECT_TRUE(middleware.isSilentFor(Milliseconds(300)));
    EXPECT_LT(memory().resident, before.resident + 8 * arrived);
    EXPECT_LT(memory().addressSpace, before.addressSpace + 8 * arrived);
    middleware.close();
    expectReconnect();
    EXPECT_THAT(logged(), ElementsAre(line::peerClosed, line::connected, line::retrierOk));
}

TEST_F(LongFrame, OfAMegabyteHasOneBuffer)
{
    uint32_t const length = 1024 * 1024;
    allocations::FailingSize const failing(length);
    middleware.sendBytes(headerOf(length));
    expectReconnect();
}

TEST_F(LongFrame, BeyondAMegabyteGrowsAsItsBytesArrive)
{
    uint32_t const length = 1024 * 1024 + 1;
    allocations::FailingSize const failing(length);
    middleware.sendBytes(headerOf(length));
    middleware.sendBytes(Bytes(length - 1, 'x'));
    expectReconnect();
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
