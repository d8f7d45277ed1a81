// From pushed messages to frames on the socket.
#include <errno.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>

#include <map>
#include <thread>

#include "testkit/HostStandIn.h"
#include "testkit/Interpose.h"
#include "testkit/LinkSupport.h"
#include "testkit/Timely.h"

using namespace testlink;
using interpose::Takeover;
using testing::ElementsAre;

namespace {

class Sending : public testing::Test {
protected:
    void connect() { middleware = link.startAndAccept(listener); }

    zelobox::Listener listener;
    zelobox::Connection middleware{zelobox::Descriptor()};
    Link link; // goes first, without an event that a test did not wait for
};

IPCMessage* textMessage(std::string const& text)
{
    return new IPCMessageSimpleString(IPC_VIDEO_WINDOW_MODE, text);
}

} // namespace

TEST_F(Sending, WritesHeaderAndPayload)
{
    connect();
    link.push(new IPCMessageUnsignedInt(static_cast<IPCMessageType>(0x1234), 0x01020304));
    link.push(textMessage("box"));
    EXPECT_EQ(bytes::fromHex("6D 01 12 34 00 00 00 04 01 02 03 04"), middleware.receiveBytes(12));
    EXPECT_EQ(bytes::fromHex("6D 04 00 2C 00 00 00 08 00 00 00 03 62 6F 78 00"), middleware.receiveBytes(16));
}

TEST_F(Sending, SerializesAMessageOnceOnTheSendersThread)
{
    std::vector<std::string> threads;
    connect();
    link.push(new ActingMessage([&] {
        char name[16] = {};
        pthread_getname_np(pthread_self(), name, sizeof name);
        threads.push_back(name);
    }));
    middleware.receive();
    EXPECT_THAT(threads, ElementsAre("ipc_snd"));
}

TEST_F(Sending, WritesAnEmptyPayloadAsEightBytes)
{
    connect();
    link.push(new IPCMessage(IPC_PAYLOAD_RAW, IPC_CONFIG_REQUEST));
    EXPECT_EQ(bytes::fromHex("6D 00 00 17 00 00 00 00"), middleware.receiveBytes(8));
    EXPECT_TRUE(middleware.isSilentFor(Milliseconds(300)));
}

TEST_F(Sending, WritesALargeMessageWhole)
{
    connect();
    Bytes const text = pattern(3 * 1024 * 1024 + 1);
    link.push(textMessage(std::string(text.begin(), text.end())));
    zelobox::Frame const frame = middleware.receive(Milliseconds(30000));
    EXPECT_TRUE(frame ==
                zelobox::frameOf(IPCMessageSimpleString(IPC_VIDEO_WINDOW_MODE, std::string(text.begin(), text.end()))));
}

TEST_F(Sending, KeepsFramesWholeAndEachThreadsOrder)
{
    connect();
    uint32_t const threads = 4;
    uint32_t const each = 500;
    std::vector<std::thread> pushers;
    for (uint32_t thread = 0; thread < threads; ++thread) {
        pushers.emplace_back([&, thread] {
            for (uint32_t i = 0; i < each; ++i) {
                link.push(new IPCMessageUnsignedInt(static_cast<IPCMessageType>(thread), i));
            }
        });
    }
    std::map<uint32_t, uint32_t> next;
    for (uint32_t i = 0; i < threads * each; ++i) {
        zelobox::Frame const frame = middleware.receive();
        ASSERT_GT(threads, frame.type);
        ASSERT_EQ(numberFrame(frame.type, next[frame.type]++), frame);
    }
    for (std::thread& pusher : pushers) {
        pusher.join();
    }
}

TEST_F(Sending, NeverSendsWhatIsPushedBeforeTheFirstConnection)
{
    link.push(new CountedMessage(IPC_CLIENT_STATE, 1));
    EXPECT_EQ(0, CountedMessage::living);
    connect();
    link.push(new IPCMessageUnsignedInt(IPC_CLIENT_STATE, 2));
    EXPECT_EQ(numberFrame(IPC_CLIENT_STATE, 2), middleware.receive());
}

TEST(SendingWithoutConnection, DropsWhatIsPushedBetweenConnections)
{
    standin::setVirtualTime(1000000);
    std::optional<zelobox::Listener> listener(std::in_place);
    Link link;
    zelobox::Connection middleware = link.startAndAccept(*listener);
    listener.reset();
    middleware.close();
    ASSERT_TRUE(standin::waitForLog("ipc_connection - failed"));
    link.push(new CountedMessage(IPC_CLIENT_STATE, 1));
    EXPECT_EQ(0, CountedMessage::living);
    listener.emplace();
    standin::advanceVirtualTime(1000000);
    middleware = listener->accept();
    ASSERT_TRUE(link.handler.waitFor("connected", 2));
    link.push(new IPCMessageUnsignedInt(IPC_CLIENT_STATE, 2));
    EXPECT_EQ(numberFrame(IPC_CLIENT_STATE, 2), middleware.receive());
    EXPECT_TRUE(standin::logLines("Out connection error").empty());
}

TEST_F(Sending, DestroysUnsentWhatIsQueuedWhenTheConnectionDrops)
{
    probe::Signal busy;
    probe::Signal dropped;
    link.handler.whenDisconnected = [&] { dropped.give(); };
    connect();
    link.push(new ActingMessage([&] {
        busy.give();
        dropped.wait();
    }));
    busy.wait();
    int const queued = 50;
    for (uint32_t i = 0; i < queued; ++i) {
        link.push(new CountedMessage(IPC_CLIENT_STATE, i));
    }
    EXPECT_EQ(queued, CountedMessage::living);
    middleware.close();
    middleware = listener.accept();
    ASSERT_TRUE(link.handler.waitFor("connected", 2));
    EXPECT_EQ(0, CountedMessage::living);
    link.push(new IPCMessageUnsignedInt(IPC_MUTE, 9));
    EXPECT_EQ(numberFrame(IPC_MUTE, 9), middleware.receive());
}

TEST_F(Sending, DestroysAMessageOnceItIsWritten)
{
    connect();
    link.push(new CountedMessage(IPC_CLIENT_STATE, 1));
    middleware.receive();
    EXPECT_TRUE(eventually([] { return CountedMessage::living == 0; }));
}

TEST_F(Sending, DoesNotWaitForAPeerThatDoesNotRead)
{
    connect();
    std::string const large(100000, 'l');
    Milliseconds const time = timeOf([&] {
        for (int i = 0; i < 30; ++i) {
            link.push(textMessage(large));
        }
    });
    EXPECT_GT(Milliseconds(5000), time);
    link.push(new CountedMessage(IPC_CLIENT_STATE, 1));
    EXPECT_EQ(1, CountedMessage::living) << "the peer has not read, so this must still be waiting";
    for (int i = 0; i < 30; ++i) {
        EXPECT_EQ(large.size() + 5, middleware.receive().payload.size());
    }
    EXPECT_EQ(numberFrame(IPC_CLIENT_STATE, 1), middleware.receive());
}

TEST(SendingInPieces, WritesTheRestOfAPartialWrite)
{
    Takeover writing(interpose::write, [](int fd, void const* buffer, size_t size) {
        return interpose::write.real(fd, buffer, size < 3 ? size : 3);
    });
    zelobox::Listener listener;
    Link link;
    zelobox::Connection middleware = link.startAndAccept(listener);
    link.push(textMessage("box"));
    link.push(new IPCMessageUnsignedInt(IPC_CLIENT_STATE, 2));
    EXPECT_EQ(zelobox::frameOf(IPCMessageSimpleString(IPC_VIDEO_WINDOW_MODE, "box")), middleware.receive());
    EXPECT_EQ(numberFrame(IPC_CLIENT_STATE, 2), middleware.receive());
}

TEST(SendingNothing, LooksAgainEvery200Milliseconds)
{
    std::atomic<long> seconds{0};
    std::atomic<long> nanoseconds{0};
    probe::Signal waited;
    Takeover telling(interpose::gettimeofday, [](timeval* now, void*) {
        *now = {100, 900001};
        return 0;
    });
    Takeover waiting(interpose::pthread_cond_timedwait,
                     [&](pthread_cond_t* condition, pthread_mutex_t* mutex, timespec const* deadline) {
                         seconds = deadline->tv_sec;
                         nanoseconds = deadline->tv_nsec;
                         waited.give();
                         timespec real;
                         clock_gettime(CLOCK_REALTIME, &real);
                         ++real.tv_sec;
                         return interpose::pthread_cond_timedwait.real(condition, mutex, &real);
                     });
    zelobox::Listener listener;
    Link link;
    zelobox::Connection const middleware = link.startAndAccept(listener);
    waited.wait();
    EXPECT_EQ(101, seconds);
    EXPECT_EQ(100001000, nanoseconds);
}

TEST(SendingInPieces, GoesOnAfterATimeOut)
{
    std::atomic<unsigned> timeouts{0};
    Takeover writing(interpose::write, [&](int fd, void const* buffer, size_t size) {
        ssize_t const count = interpose::write.real(fd, buffer, size);
        timeouts += count < 0 && errno == EAGAIN ? 1 : 0;
        return count;
    });
    zelobox::Listener listener;
    Link link;
    zelobox::Connection middleware = link.startAndAccept(listener);
    std::string const large(1000000, 'l');
    link.push(textMessage(large));
    ASSERT_TRUE(eventually([&] { return timeouts >= 2; }));
    EXPECT_TRUE(zelobox::frameOf(IPCMessageSimpleString(IPC_VIDEO_WINDOW_MODE, large)) == middleware.receive());
    EXPECT_THAT(logged(), ElementsAre(line::connected, line::retrierOk));
}

namespace {

size_t const queueLimit = 131072;

/// A sender that is kept from taking anything off its queue.
class FullQueue : public Sending {
protected:
    void SetUp() override
    {
        connect();
        link.push(new ActingMessage([this] {
            taken.give();
            mayGoOn.wait();
        }));
        taken.wait();
        standin::clearLog();
    }
    void fillQueue()
    {
        for (size_t i = 0; i < queueLimit; ++i) {
            link.push(new CountedMessage(IPC_CLIENT_STATE, 1));
        }
    }
    void expectEndAndReconnect(std::vector<std::string> const& events)
    {
        EXPECT_TRUE(standin::waitForLog("Out queue full. Terminate connection."));
        EXPECT_TRUE(middleware.waitForClose(Milliseconds(1000)));
        mayGoOn.give();
        ASSERT_TRUE(link.handler.waitFor("connected", 2));
        EXPECT_THAT(logged(), ElementsAre("1 Out queue full. Terminate connection.", line::connected, line::retrierOk));
        EXPECT_EQ(events, link.handler.events());
        EXPECT_EQ(0, CountedMessage::living);
        zelobox::Connection again = listener.accept();
        link.push(new IPCMessageUnsignedInt(IPC_CLIENT_STATE, 2));
        EXPECT_EQ(numberFrame(IPC_CLIENT_STATE, 2), again.receive());
    }

    probe::Signal taken;
    probe::Signal mayGoOn;
};

} // namespace

TEST_F(FullQueue, EndsTheConnectionWhenAMessageFindsTheQueueFull)
{
    fillQueue();
    EXPECT_EQ(static_cast<int>(queueLimit), CountedMessage::living);
    EXPECT_TRUE(middleware.isSilentFor(Milliseconds(100)));
    link.push(new CountedMessage(IPC_CLIENT_STATE, 1));
    link.push(new CountedMessage(IPC_CLIENT_STATE, 1)); // is no second line
    EXPECT_GE(static_cast<int>(queueLimit), CountedMessage::living);
    expectEndAndReconnect({"connected", "disconnected", "connected"});
    EXPECT_EQ("1 310 src/ipc/IPCMessengerClient", originOf("Out queue full. Terminate connection."));
}

TEST_F(FullQueue, EndsTheConnectionWhenItsOwnAnswersFillTheQueue)
{
    link.handler.whenReceived = [this](IPCMessage const*) {
        fillQueue();
        link.push(new CountedMessage(IPC_CLIENT_STATE, 1));
    };
    middleware.send(numberFrame(IPC_VOLUME, 1));
    expectEndAndReconnect({"connected", "message 39", "disconnected", "connected"});
}

TEST_F(FullQueue, IsStoppedInTimeWithAFullQueue)
{
    fillQueue();
    mayGoOn.give(); // and the peer does not read
    timely::expectTimely([this] { link.stop(); });
    EXPECT_LT(0, CountedMessage::living);
}

TEST_F(Sending, OfAFullQueueToADeafPeerEndsWithOneLine)
{
    connect();
    standin::clearLog();
    for (size_t i = 0; i < 2 * queueLimit; ++i) {
        link.push(new CountedMessage(IPC_CLIENT_STATE, 1));
    }
    ASSERT_TRUE(link.handler.waitFor("connected", 2));
    zelobox::Connection const again = listener.accept();
    EXPECT_EQ(1U, standin::logLines("Out queue full").size());
    EXPECT_EQ(0U, standin::logLines("Out connection error").size());
}

TEST(SendingWithoutAClock, GoesOnWithoutASpin)
{
    // As a C library with seconds of 32 bits answers after January 2038.
    Takeover telling(interpose::gettimeofday, [](timeval*, void*) {
        errno = EOVERFLOW;
        return -1;
    });
    zelobox::Listener listener;
    Link link;
    zelobox::Connection middleware = link.startAndAccept(listener);
    link.push(new IPCMessageUnsignedInt(IPC_CLIENT_STATE, 1));
    EXPECT_EQ(numberFrame(IPC_CLIENT_STATE, 1), middleware.receive());
    unsigned const before = telling.count();
    std::this_thread::sleep_for(Milliseconds(200));
    EXPECT_GE(5U, telling.count() - before) << "one look every 50 ms";
}

TEST(SendingInPieces, GoesOnAfterASignal)
{
    Takeover writing(interpose::write, [fails = false](int fd, void const* buffer, size_t) mutable {
        fails = !fails;
        errno = EINTR;
        return fails ? -1 : interpose::write.real(fd, buffer, 1);
    });
    zelobox::Listener listener;
    Link link;
    zelobox::Connection middleware = link.startAndAccept(listener);
    link.push(new IPCMessageUnsignedInt(IPC_CLIENT_STATE, 0x01020304));
    EXPECT_EQ(numberFrame(IPC_CLIENT_STATE, 0x01020304), middleware.receive());
    EXPECT_THAT(logged(), ElementsAre(line::connected, line::retrierOk));
}
