// The end of a sender that has something to write.
#include <errno.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "testkit/Stopping.h"

using namespace testlink;
using interpose::Takeover;
using testing::ElementsAre;

namespace {

size_t const largeSize = 8 * 1024 * 1024;

/// A sender with more to write than the peer takes, and a watch over the order of its last write and the close.
class StoppingInWrite : public testing::Test {
protected:
    void pushLarge()
    {
        middleware = link->startAndAccept(listener);
        link->push(new IPCMessageSimpleString(IPC_VIDEO_WINDOW_MODE, std::string(largeSize, 'l')));
    }

    ssize_t write(int fd, void const* buffer, size_t size)
    {
        writesAfterClose += closed ? 1 : 0;
        ++writing;
        ssize_t const count = interpose::write.real(fd, buffer, size);
        timeouts += count < 0 && errno == EAGAIN ? 1 : 0;
        --writing;
        written = fd;
        return count;
    }

    int close(int fd)
    {
        if (fd == written) {
            closed = true;
            writesAtClose = writing.load();
        }
        return interpose::close.real(fd);
    }

    std::atomic<int> written{-1};
    std::atomic<int> writing{0};
    std::atomic<int> timeouts{0};
    std::atomic<bool> closed{false};
    std::atomic<int> writesAtClose{0};
    std::atomic<int> writesAfterClose{0};
    Takeover<ssize_t(int, void const*, size_t)> writeCall{
        interpose::write, [this](int fd, void const* buffer, size_t size) { return write(fd, buffer, size); }};
    Takeover<int(int)> closeCall{interpose::close, [this](int fd) { return close(fd); }, interpose::Threads::All};
    zelobox::Listener listener;
    zelobox::Connection middleware{zelobox::Descriptor()};
    std::optional<Link> link{std::in_place};
};

} // namespace

TEST_F(StoppingInWrite, EndsInTimeWhenThePeerDoesNotRead)
{
    pushLarge();
    ASSERT_TRUE(eventually([this] { return timeouts >= 1; }));
    expectTimelyEnd(link);
    EXPECT_THAT(logged(), ElementsAre(line::closing));
}

TEST_F(StoppingInWrite, WaitsAFifthOfASecondForAPeerThatDoesNotRead)
{
    pushLarge();
    ASSERT_TRUE(eventually([this] { return timeouts >= 1; }));
    Milliseconds taken(0);
    timely::expectTimely([&] { taken = timeOf([this] { link->stop(); }); },
                         std::max(Milliseconds(300), timely::stopLimit - Milliseconds(200)));
    EXPECT_LE(200, taken.count() + 1);
}

TEST_F(StoppingInWrite, EndsInTimeWhenThePeerReadsSlowly)
{
    pushLarge();
    std::atomic<int> reads{0};
    PeriodicTimer const reader(Milliseconds(40), [&] {
        try {
            middleware.receiveBytes(32 * 1024);
            ++reads;
        } catch (zelobox::PeerClosed const&) {
            return; // by the stop
        }
    });
    ASSERT_TRUE(eventually([&] { return reads >= 5; }));
    expectTimelyEnd(link);
    EXPECT_THAT(logged(), ElementsAre(line::closing));
}

TEST_F(StoppingInWrite, EndsTheSenderBeforeTheSocketIsClosed)
{
    pushLarge();
    ASSERT_TRUE(eventually([this] { return timeouts >= 1; }));
    link->stop();
    link.reset();
    EXPECT_TRUE(closed);
    EXPECT_EQ(0, writesAtClose);
    EXPECT_EQ(0, writesAfterClose);
}

TEST_F(StoppingInWrite, EndsTheSenderBeforeTheSocketOfADroppedConnectionIsClosed)
{
    pushLarge();
    ASSERT_TRUE(eventually([this] { return timeouts >= 1; }));
    middleware.sendBytes(bytes::fromHex("00 00 00 00 00 00 00 00"));
    ASSERT_TRUE(link->handler.waitFor("connected", 2));
    EXPECT_TRUE(closed);
    EXPECT_EQ(0, writesAtClose);
    EXPECT_EQ(0, writesAfterClose);
}

TEST(StoppingAfterAHeader, WritesNoPayload)
{
    probe::Signal inHeader;
    probe::Signal ending;
    Takeover writing(interpose::write, [&](int fd, void const* buffer, size_t size) {
        inHeader.give();
        ending.wait();
        return interpose::write.real(fd, buffer, size);
    });
    Takeover joining(interpose::pthread_join, [&](pthread_t thread, void** result) {
        ending.give();
        return interpose::pthread_join.real(thread, result);
    });
    zelobox::Listener listener;
    Link link;
    zelobox::Connection middleware = link.startAndAccept(listener);
    link.push(new CountedMessage(IPC_CLIENT_STATE, 1));
    inHeader.wait();
    middleware.sendBytes(Bytes(8, 0)); // ends the connection, and with it the sender
    ASSERT_TRUE(link.handler.waitFor("connected", 2));
    EXPECT_EQ(1U, writing.count());
    EXPECT_EQ(0, CountedMessage::living);
    EXPECT_THAT(standin::logLines("Out connection error"), testing::IsEmpty());
}

namespace {

/// A sender whose first message is not written before a stop waits for it.
class StoppingWithAQueue : public testing::Test {
protected:
    ssize_t write(int fd, void const* buffer, size_t size)
    {
        begun.give();
        stopping.wait();
        bool const refuses = refusals.fetch_sub(1) > 0;
        errno = EAGAIN;
        return refuses ? -1 : interpose::write.real(fd, buffer, size);
    }

    probe::Signal begun;
    probe::Signal stopping;
    std::atomic<int> refusals{2};
    Takeover<ssize_t(int, void const*, size_t)> writeCall{
        interpose::write, [this](int fd, void const* buffer, size_t size) { return write(fd, buffer, size); }};
    Takeover<int(pthread_t, void**)> joinCall{interpose::pthread_join,
                                              [this](pthread_t thread, void** result) {
                                                  stopping.give();
                                                  return interpose::pthread_join.real(thread, result);
                                              },
                                              interpose::Threads::All};
    zelobox::Listener listener;
    std::optional<Link> link{std::in_place};
};

} // namespace

TEST_F(StoppingWithAQueue, WritesWhatWasQueuedBefore)
{
    zelobox::Connection middleware = link->startAndAccept(listener);
    link->push(new CountedMessage(IPC_CLIENT_STATE, 0));
    begun.wait();
    uint32_t const messages = 100;
    for (uint32_t i = 1; i < messages; ++i) {
        link->push(new CountedMessage(IPC_CLIENT_STATE, i));
    }
    expectTimelyEnd(link);
    for (uint32_t i = 0; i < messages; ++i) {
        EXPECT_EQ(numberFrame(IPC_CLIENT_STATE, i), middleware.receive());
    }
    EXPECT_THAT(logged(), ElementsAre(line::closing));
}

TEST_F(StoppingInWrite, DestroysWhatIsQueuedUnsent)
{
    pushLarge();
    link->push(new CountedMessage(IPC_CLIENT_STATE, 1));
    ASSERT_TRUE(eventually([this] { return timeouts >= 1; }));
    link->stop();
    EXPECT_EQ(1, CountedMessage::living);
    link.reset();
    EXPECT_EQ(0, CountedMessage::living);
}
