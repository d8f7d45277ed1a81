// Writes that fail, and what becomes of the connection, the messages and the process.
#include <errno.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <sys/socket.h>

#include "testkit/Allocations.h"
#include "testkit/HostStandIn.h"
#include "testkit/Interpose.h"
#include "testkit/LinkSupport.h"

using namespace testlink;
using interpose::Takeover;
using testing::ElementsAre;
using timely::PeriodicTimer;

namespace {

class SendingFailure : public testing::Test {
protected:
    void SetUp() override
    {
        middleware = link.startAndAccept(listener);
        standin::clearLog();
    }

    /// Expects that the connection ends within a second, and that the next one works.
    void expectNewConnection()
    {
        zelobox::Connection again = listener.accept(Milliseconds(1000));
        ASSERT_TRUE(link.handler.waitFor("connected", 2));
        EXPECT_THAT(link.handler.events(), ElementsAre("connected", "disconnected", "connected"));
        link.push(new IPCMessageUnsignedInt(IPC_CLIENT_STATE, 2));
        EXPECT_EQ(numberFrame(IPC_CLIENT_STATE, 2), again.receive());
        EXPECT_THAT(logged(), ElementsAre(line::writeError, line::peerClosed, line::connected, line::retrierOk));
    }

    zelobox::Listener listener;
    zelobox::Connection middleware{zelobox::Descriptor()};
    Link link; // goes first, without an event that a test did not wait for
};

bool isSigPipeBlocked()
{
    sigset_t blocked;
    pthread_sigmask(SIG_SETMASK, nullptr, &blocked);
    return sigismember(&blocked, SIGPIPE) == 1;
}

void throwNoMemory()
{
    throw std::bad_alloc();
}

} // namespace

TEST_F(SendingFailure, TellsNobodyWhenTheOtherSideReadsNoMore)
{
    ASSERT_EQ(0, shutdown(middleware.descriptor(), SHUT_RD));
    link.push(new CountedMessage(IPC_CLIENT_STATE, 1));
    ASSERT_TRUE(standin::waitForLog("Out connection error"));
    EXPECT_TRUE(eventually([] { return CountedMessage::living == 0; }));
    EXPECT_TRUE(eventually([this] {
        link.push(new CountedMessage(IPC_CLIENT_STATE, 2)); // destroyed at once as soon as the thread has ended
        return CountedMessage::living == 0;
    }));
    for (size_t i = 1; i <= 10; ++i) {
        std::this_thread::sleep_for(Milliseconds(50));
        middleware.send(numberFrame(IPC_VOLUME, 1));
        ASSERT_TRUE(link.handler.waitFor("message 39", i));
    }
    std::this_thread::sleep_for(Milliseconds(2500)); // longer than any time-out
    middleware.send(numberFrame(IPC_VOLUME, 1));
    ASSERT_TRUE(link.handler.waitFor("message 39", 11));
    EXPECT_EQ(12U, link.handler.events().size()) << "the connection and what came";
    EXPECT_THAT(logged(), ElementsAre(line::writeError));
}

TEST_F(SendingFailure, IsAWriteOfNothing)
{
    Takeover writing(interpose::write, [](int, void const*, size_t) {
        errno = EAGAIN; // of an earlier call
        return 0;
    });
    link.push(new CountedMessage(IPC_CLIENT_STATE, 1));
    EXPECT_TRUE(standin::waitForLog("Out connection error"));
}

TEST_F(SendingFailure, EndsTheConnectionWhileFramesArriveWhenAMessageFindsNoMemory)
{
    PeriodicTimer const keys(Milliseconds(50), [this] {
        try {
            middleware.send(numberFrame(IPC_VOLUME, 1));
        } catch (zelobox::PeerClosed const&) {
            return; // as it should
        }
    });
    link.push(new ActingMessage(throwNoMemory));
    zelobox::Connection const again = listener.accept(Milliseconds(1000));
    EXPECT_TRUE(link.handler.waitFor("connected", 2));
}

TEST_F(SendingFailure, EndsTheConnectionWhenAMessageFindsNoMemory)
{
    link.push(new ActingMessage(throwNoMemory));
    link.push(new CountedMessage(IPC_CLIENT_STATE, 1));
    expectNewConnection();
    EXPECT_EQ(0, CountedMessage::living);
}

TEST_F(SendingFailure, EndsTheConnectionWhenAPayloadFindsNoMemory)
{
    std::unique_ptr<IPCMessage> message(new IPCMessageSimpleString(IPC_VIDEO_WINDOW_MODE, std::string(77772, 't')));
    allocations::FailingSize const failing(77772 + 5);
    link.push(message.release());
    expectNewConnection();
}

TEST(SendingFailureAtTheSocket, IsAWriteOfNothing)
{
    Takeover writing(interpose::write, [](int, void const*, size_t) { return 0; });
    zelobox::Listener listener;
    Link link;
    zelobox::Connection const middleware = link.startAndAccept(listener);
    link.push(new IPCMessageUnsignedInt(IPC_CLIENT_STATE, 1));
    ASSERT_TRUE(standin::waitForLog("Out connection error"));
    EXPECT_EQ(1U, writing.count());
    EXPECT_EQ("src/ipc/IPCMessengerClient", standin::logLines("Out connection error")[0].file);
}

TEST(SendingFailureAtTheSocket, InThePayloadIsTheSame)
{
    Takeover writing(interpose::write, [](int fd, void const* buffer, size_t size) {
        errno = EIO;
        return size == 4 ? -1 : interpose::write.real(fd, buffer, size);
    });
    zelobox::Listener listener;
    Link link;
    zelobox::Connection middleware = link.startAndAccept(listener);
    link.push(new CountedMessage(IPC_CLIENT_STATE, 1));
    ASSERT_TRUE(standin::waitForLog("Out connection error"));
    EXPECT_EQ(8U, middleware.receiveBytes(8).size());
    EXPECT_TRUE(eventually([] { return CountedMessage::living == 0; }));
}

TEST(SendingAfterAFailure, DestroysMessagesAtOnceButKeepsTheQueuedOnes)
{
    // The receive loop is kept from noticing, so that the connection stays as the failed sender left it.
    probe::Signal mayNotice;
    probe::Signal mayFail;
    Takeover receiving(interpose::recv, [&](int fd, void* buffer, size_t size, int flags) {
        mayNotice.wait();
        return interpose::recv.real(fd, buffer, size, flags);
    });
    zelobox::Listener listener;
    Link link;
    zelobox::Connection middleware = link.startAndAccept(listener);
    link.push(new ActingMessage([&] {
        mayFail.wait();
        throwNoMemory();
    }));
    link.push(new CountedMessage(IPC_CLIENT_STATE, 1));
    mayFail.give();
    ASSERT_TRUE(standin::waitForLog("Out connection error"));
    EXPECT_TRUE(eventually([&] {
        int const before = CountedMessage::living;
        link.push(new CountedMessage(IPC_CLIENT_STATE, 2));
        return CountedMessage::living == before;
    }));
    EXPECT_LE(1, CountedMessage::living);
    mayNotice.give();
    EXPECT_TRUE(link.handler.waitFor("connected", 2));
    EXPECT_EQ(0, CountedMessage::living);
}

TEST(SigPipe, DoesNotComeOfAWriteToAClosedPeer)
{
    struct sigaction action = {};
    ASSERT_EQ(0, sigaction(SIGPIPE, nullptr, &action));
    ASSERT_EQ(SIG_DFL, action.sa_handler) << "or the process would survive anyhow";
    probe::Signal mayNotice;
    Takeover receiving(interpose::recv, [&](int fd, void* buffer, size_t size, int flags) {
        mayNotice.wait();
        return interpose::recv.real(fd, buffer, size, flags);
    });
    zelobox::Listener listener;
    Link link;
    link.startAndAccept(listener).close();
    link.push(new IPCMessage(IPC_PAYLOAD_RAW, IPC_CONFIG_REQUEST));
    ASSERT_TRUE(standin::waitForLog("Out connection error"));
    mayNotice.give();
    ASSERT_TRUE(link.handler.waitFor("connected", 2));
    ASSERT_EQ(0, sigaction(SIGPIPE, nullptr, &action));
    EXPECT_EQ(SIG_DFL, action.sa_handler);
    EXPECT_EQ(1U, standin::logLines("Connection closed").size());
}

TEST(SigPipe, IsBlockedInTheSendersThreadOnly)
{
    std::atomic<int> inSender{-1};
    std::atomic<int> inReceiver{-1};
    zelobox::Listener listener;
    Link link;
    link.handler.whenReceived = [&](IPCMessage const*) { inReceiver = isSigPipeBlocked(); };
    zelobox::Connection middleware = link.startAndAccept(listener);
    link.push(new ActingMessage([&] { inSender = isSigPipeBlocked(); }));
    middleware.receive();
    middleware.send(numberFrame(IPC_VOLUME, 1));
    ASSERT_TRUE(link.handler.waitFor("message 39"));
    EXPECT_EQ(1, inSender);
    EXPECT_EQ(0, inReceiver);
    EXPECT_FALSE(isSigPipeBlocked());
}
