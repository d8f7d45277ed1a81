// From bytes on the socket to whole frames, also those whose length is large, or said to be.
#include <errno.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>

#include "src/ipc/IPCFrame.h"
#include "testkit/Allocations.h"
#include "testkit/HostStandIn.h"
#include "testkit/Interpose.h"
#include "testkit/LinkSupport.h"
#include "testkit/Process.h"

using namespace testlink;
using interpose::Takeover;
using testing::ElementsAre;

namespace {

class Receiving : public testing::Test {
protected:
    /// Connects; the log then begins anew.
    void connect()
    {
        middleware = link.startAndAccept(listener);
        standin::clearLog();
    }

    /// Expects that the client drops the connection, says @p why, and makes a new one that works.
    void expectDropAndReconnect(std::string const& why)
    {
        ASSERT_TRUE(link.handler.waitFor("connected", 2));
        EXPECT_THAT(logged(), ElementsAre(why, line::connected, line::retrierOk));
        zelobox::Connection again = listener.accept();
        again.send(numberFrame(IPC_VOLUME, 77));
        ASSERT_TRUE(link.handler.waitFor("message 39"));
        std::vector<std::string> const events = link.handler.events();
        EXPECT_EQ("connected", events.front());
        EXPECT_THAT(std::vector<std::string>(events.end() - 3, events.end()),
                    ElementsAre("disconnected", "connected", "message 39"));
    }

    zelobox::Listener listener;
    zelobox::Connection middleware{zelobox::Descriptor()};
    Link link; // goes first, without an event that a test did not wait for
};

zelobox::Frame const key = {IPC_PAYLOAD_UINT32, IPC_REMOTE_KEY, bytes::fromHex("00 01 00 2A")};
Bytes const keyBytes = bytes::fromHex("6D 01 00 1A 00 00 00 04 00 01 00 2A");

/// A connection on which no reception ever crosses one of the given offsets.
class Splitter {
public:
    explicit Splitter(std::vector<size_t> offsets) : boundaries(std::move(offsets)) {}

private:
    ssize_t receive(int fd, void* buffer, size_t size, int flags)
    {
        EXPECT_EQ(0, flags);
        auto const boundary = std::upper_bound(boundaries.begin(), boundaries.end(), position);
        size_t const limit = boundary != boundaries.end() ? std::min(size, *boundary - position) : size;
        ssize_t const count = interpose::recv.real(fd, buffer, limit, flags);
        position += count > 0 ? static_cast<size_t>(count) : 0;
        return count;
    }

    std::vector<size_t> const boundaries;
    size_t position = 0;
    Takeover<ssize_t(int, void*, size_t, int)> receiving{
        interpose::recv,
        [this](int fd, void* buffer, size_t size, int flags) { return receive(fd, buffer, size, flags); }};
};

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

TEST(ReceivingInPieces, JoinsAFrameThatComesByteByByte)
{
    Takeover receiving(interpose::recv, [](int fd, void* buffer, size_t, int flags) {
        return interpose::recv.real(fd, buffer, 1, flags);
    });
    zelobox::Listener listener;
    Link link;
    zelobox::Connection middleware = link.startAndAccept(listener);
    for (char const byte : keyBytes) {
        middleware.sendBytes({byte});
    }
    ASSERT_TRUE(link.handler.waitFor("message 26"));
    EXPECT_THAT(link.handler.frames(), ElementsAre(key));
    EXPECT_LE(keyBytes.size(), receiving.count());
}

TEST(ReceivingInPieces, JoinsAFrameSplitAtEveryOffset)
{
    // The first frame is whole, the second one split after one byte, and so on.
    Bytes all;
    std::vector<size_t> boundaries;
    for (size_t split = 0; split < keyBytes.size(); ++split) {
        boundaries.push_back(all.size() + split);
        all = all + keyBytes;
    }
    Splitter const splitter(boundaries);
    zelobox::Listener listener;
    Link link;
    link.startAndAccept(listener).sendBytes(all);
    ASSERT_TRUE(link.handler.waitFor("message 26", keyBytes.size()));
    EXPECT_EQ(std::vector<zelobox::Frame>(keyBytes.size(), key), link.handler.frames());
}

TEST_F(Receiving, TakesTwoFramesOutOfOneWrite)
{
    connect();
    zelobox::Frame const pause = zelobox::frameOf(IPCMessageSimpleString(IPC_APP_LIFECYCLE, "onpause"));
    middleware.sendBytes(keyBytes + zelobox::bytesOf(pause));
    ASSERT_TRUE(link.handler.waitFor("message 49"));
    EXPECT_THAT(link.handler.frames(), ElementsAre(key, pause));
}

TEST_F(Receiving, DispatchesAFrameOfLengthZero)
{
    connect();
    middleware.sendBytes(bytes::fromHex("6D 00 00 18 00 00 00 00") + keyBytes);
    ASSERT_TRUE(link.handler.waitFor("message 26"));
    EXPECT_THAT(link.handler.frames(), ElementsAre(zelobox::Frame{0, 24, {}}, key));
}

TEST_F(Receiving, TracesTypeAndLengthOfEveryMessage)
{
    connect();
    middleware.sendBytes(keyBytes + bytes::fromHex("6D 00 FF FE 00 00 00 00"));
    ASSERT_TRUE(link.handler.waitFor("message 65534"));
    std::vector<standin::LogLine> const lines = standin::logLines();
    ASSERT_EQ(2U, lines.size());
    EXPECT_EQ("New message received: 26 length 4", lines[0].message);
    EXPECT_EQ("New message received: 65534 length 0", lines[1].message);
    EXPECT_EQ(5, lines[0].level);
    EXPECT_EQ("src/ipc/IPCMessengerClient", lines[0].file);
}

TEST_F(Receiving, DropsTheConnectionOnAWrongSyncByte)
{
    connect();
    middleware.sendBytes(bytes::fromHex("6E 01 00 1A 00 00 00 04 00 01 00 2A"));
    EXPECT_TRUE(middleware.waitForClose());
    expectDropAndReconnect(line::outOfSync);
}

TEST_F(Receiving, DropsTheConnectionOnAWrongSyncByteLaterOn)
{
    connect();
    middleware.sendBytes(keyBytes + keyBytes + bytes::fromHex("00") + keyBytes);
    expectDropAndReconnect(line::outOfSync);
    EXPECT_THAT(link.handler.frames(), ElementsAre(key, key, numberFrame(IPC_VOLUME, 77)));
}

TEST_F(Receiving, LooksAtTheSyncByteOnlyOnceTheHeaderIsWhole)
{
    connect();
    middleware.sendBytes(bytes::fromHex("00 01 00 1A 00 00 00"));
    middleware.close();
    expectDropAndReconnect(line::peerClosed);
}

class ReceivingClosed : public Receiving, public testing::WithParamInterface<size_t> {};

TEST_P(ReceivingClosed, DropsTheConnectionAndTellsTheHandlers)
{
    connect();
    middleware.sendBytes(Bytes(keyBytes.begin(), keyBytes.begin() + static_cast<ptrdiff_t>(GetParam())));
    middleware.close();
    expectDropAndReconnect(line::peerClosed);
}

// Between frames, in the header, after it, in the payload.
INSTANTIATE_TEST_SUITE_P(AfterBytes, ReceivingClosed, testing::Values(0, 1, 7, 8, 11),
                         testing::PrintToStringParamName());

TEST_F(Receiving, DropsTheConnectionOnAReadError)
{
    connect();
    link.push(new IPCMessage(IPC_PAYLOAD_RAW, IPC_CONFIG_REQUEST));
    ASSERT_TRUE(eventually([this] { return !middleware.isSilentFor(Milliseconds(0)); }));
    middleware.close(); // what was not read makes the other side's recv fail with ECONNRESET
    expectDropAndReconnect(line::readError);
}

TEST(ReceivingInPieces, DropsTheConnectionOnAReadErrorInThePayload)
{
    Takeover receiving(interpose::recv, [&](int fd, void* buffer, size_t size, int flags) {
        ssize_t const count = interpose::recv.real(fd, buffer, size, flags);
        errno = size == 5 && count > 0 ? EIO : errno;
        return size == 5 && count > 0 ? -1 : count;
    });
    zelobox::Listener listener;
    Link link;
    zelobox::Connection middleware = link.startAndAccept(listener);
    standin::clearLog();
    middleware.sendBytes(bytes::fromHex("6D 00 00 18 00 00 00 05 01 02 03 04 05"));
    ASSERT_TRUE(link.handler.waitFor("connected", 2));
    EXPECT_THAT(logged(), ElementsAre(line::readError, line::connected, line::retrierOk));
    EXPECT_THAT(link.handler.events(), ElementsAre("connected", "disconnected", "connected"));
}

TEST(ReceivingInPieces, GoesOnAfterASignal)
{
    // Every second call fails, so that header and payload are both hit.
    Takeover receiving(interpose::recv, [fails = false](int fd, void* buffer, size_t, int flags) mutable {
        fails = !fails;
        errno = EINTR;
        return fails ? -1 : interpose::recv.real(fd, buffer, 1, flags);
    });
    zelobox::Listener listener;
    Link link;
    zelobox::Connection middleware = link.startAndAccept(listener);
    middleware.send(numberFrame(IPC_VOLUME, 0x01020304));
    ASSERT_TRUE(link.handler.waitFor("message 39"));
    EXPECT_THAT(link.handler.frames(), ElementsAre(numberFrame(IPC_VOLUME, 0x01020304)));
    EXPECT_THAT(logged(), ElementsAre(line::connected, line::retrierOk));
}

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

INSTANTIATE_TEST_SUITE_P(Lengths, UnbearableLength, testing::Values(0x80000000U, 0xFFFFFFFFU),
                         testing::PrintToStringParamName());

TEST_F(LongFrame, ThatOnlySaysSoTakesAMegabyte)
{
    static std::atomic<size_t> largest{0};
    largest = 0;
    allocations::Observer const observer = {[](size_t size) {
                                                size_t seen = largest;
                                                while (size > seen && !largest.compare_exchange_weak(seen, size)) {
                                                }
                                                return false;
                                            },
                                            nullptr, nullptr};
    allocations::observe(&observer);
    std::atomic<size_t> touched{0};
    Takeover receiving(interpose::recv, [&](int fd, void* buffer, size_t size, int flags) {
        touched = std::max<size_t>(touched, size);
        return interpose::recv.real(fd, buffer, size, flags);
    });
    middleware.sendBytes(headerOf(0x7FFFFFFF));
    middleware.sendBytes(Bytes(1000, 'x'));
    // The connection stays: what ends it is the close.
    EXPECT_TRUE(middleware.isSilentFor(Milliseconds(300)));
    middleware.close();
    expectReconnect();
    allocations::observe(nullptr);
    EXPECT_EQ(size_t{1024} * 1024, largest);
    EXPECT_EQ(size_t{256} * 1024, touched) << "before more bytes are there";
    EXPECT_EQ(1U, standin::logLines("New message received: 24 length 2147483647").size());
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
