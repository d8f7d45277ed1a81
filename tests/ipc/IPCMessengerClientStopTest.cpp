// A stop ends in time whatever the client is waiting for, and is nobody's news.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <string.h>

#include <algorithm>

#include "testkit/Allocations.h"
#include "testkit/Stopping.h"

using namespace testlink;
using interpose::Takeover;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

/// A client whose progress in a frame is known.
class StoppingInFrame : public testing::Test {
protected:
    /// Connects, sends the first bytes of a frame, and waits until the client has them.
    void receiveBeginning(size_t size, std::string const& length = "00 10 00 00")
    {
        Bytes beginning = bytes::fromHex("6D 00 00 18 " + length);
        beginning.resize(size, 'x');
        middleware = link->startAndAccept(listener);
        middleware.sendBytes(beginning);
        ASSERT_TRUE(eventually([&] { return received == size; }));
    }

    ssize_t receive(int fd, void* buffer, size_t size, int flags)
    {
        ssize_t const count = interpose::recv.real(fd, buffer, size, flags);
        received += count > 0 ? static_cast<size_t>(count) : 0;
        return count;
    }

    /// A peer that is always faster than the client.
    ssize_t receiveFlood(void* buffer, size_t size)
    {
        memset(buffer, 'x', size);
        received += size;
        std::this_thread::sleep_for(Milliseconds(2)); // or memory would be full before a stop could come
        return static_cast<ssize_t>(size);
    }

    std::atomic<bool> flooding{false};
    std::atomic<size_t> received{0};
    Takeover<ssize_t(int, void*, size_t, int)> receiving{
        interpose::recv, [this](int fd, void* buffer, size_t size, int flags) {
            return flooding ? receiveFlood(buffer, size) : receive(fd, buffer, size, flags);
        }};
    zelobox::Listener listener;
    zelobox::Connection middleware{zelobox::Descriptor()};
    std::optional<Link> link{std::in_place};
};

class StoppingAfterBytes : public StoppingInFrame, public testing::WithParamInterface<size_t> {};

} // namespace

TEST_P(StoppingAfterBytes, SaysNothing)
{
    ASSERT_NO_FATAL_FAILURE(receiveBeginning(GetParam()));
    expectTimelyEnd(link);
    EXPECT_THAT(logged(), IsEmpty());
    EXPECT_TRUE(middleware.waitForClose());
}

// In the header, right after it, in the payload.
INSTANTIATE_TEST_SUITE_P(OfAFrame, StoppingAfterBytes, testing::Values(1, 7, 8, 11), testing::PrintToStringParamName());

TEST_F(StoppingInFrame, EndsInTimeWhenAByteComesEvery150Milliseconds)
{
    ASSERT_NO_FATAL_FAILURE(receiveBeginning(9));
    PeriodicTimer const trickle(Milliseconds(150), [this] {
        try {
            middleware.sendBytes({0});
        } catch (zelobox::PeerClosed const&) {
            return; // by the stop
        }
    });
    expectTimelyEnd(link);
    EXPECT_THAT(logged(), IsEmpty());
}

TEST_F(StoppingInFrame, EndsInTimeWhenBytesComeFasterThanTheyAreRead)
{
    ASSERT_NO_FATAL_FAILURE(receiveBeginning(8, "20 00 00 00"));
    flooding = true;
    ASSERT_TRUE(eventually([&] { return received > 1024 * 1024; }));
    expectTimelyEnd(link);
    EXPECT_THAT(logged(), IsEmpty());
}

TEST(StoppingWithTheLastByte, ForgetsAFrameThatIsOnlyAHeader)
{
    probe::Signal headerIsIn;
    std::optional<Link> link;
    Takeover const receiving(interpose::recv, [&](int fd, void* buffer, size_t size, int flags) {
        ssize_t const count = interpose::recv.real(fd, buffer, size, flags);
        if (count == 8) {
            headerIsIn.give();
            EXPECT_TRUE(eventually([&] { return !link->client.isRunning(); })) << "the stop comes first";
        }
        return count;
    });
    zelobox::Listener listener;
    link.emplace();
    zelobox::Connection middleware = link->startAndAccept(listener);
    middleware.sendBytes(bytes::fromHex("6D 01 00 27 00 00 00 00"));
    headerIsIn.wait();
    expectTimelyEnd(link);
    EXPECT_THAT(logged(), IsEmpty());
    EXPECT_TRUE(middleware.waitForClose());
}

namespace {

size_t const textBeforeTheStop = 77777;
size_t const textAfterTheStop = 88888;
Link* decodingLink = nullptr;
probe::Signal* decoding = nullptr;
std::atomic<bool> decodedOn{false};

/// Keeps the client in the first of two texts until a stop has begun.
bool waitForTheStop(size_t allocated)
{
    if (allocated == textBeforeTheStop + 1) {
        decoding->give();
        EXPECT_TRUE(eventually([] { return !decodingLink->client.isRunning(); })) << "the stop comes first";
    }
    decodedOn = decodedOn || allocated == textAfterTheStop + 1;
    return false;
}

} // namespace

TEST_F(Stopping, EndsDecoding)
{
    probe::Signal inTheFirstText;
    decoding = &inTheFirstText;
    decodingLink = &*link;
    connect();
    IPCMessageStringArray texts(IPC_UNHANDLED_27);
    texts.strings = {std::string(textBeforeTheStop, 'x'), std::string(textAfterTheStop, 'x')};
    zelobox::Frame const frame = zelobox::frameOf(std::move(texts));
    allocations::Observer const observer = {&waitForTheStop, nullptr, nullptr};
    allocations::observe(&observer);
    middleware.send(frame);
    inTheFirstText.wait();
    link->stop();
    allocations::observe(nullptr);
    EXPECT_FALSE(decodedOn);
    EXPECT_THAT(link->handler.events(), ElementsAre("connected"));
}

TEST(StoppingInBackOff, EndsInTimeWithoutAWord)
{
    standin::setVirtualTime(1000000); // stands still, so the next attempt never comes
    std::optional<Link> link(std::in_place);
    link->start();
    ASSERT_TRUE(standin::waitForLog("ipc_connection - failed"));
    expectTimelyEnd(link);
    EXPECT_THAT(logged(), IsEmpty());
}

TEST(StoppingInConnect, EndsInTimeOnAFullBacklog)
{
    probe::Signal waiting;
    Takeover connecting(interpose::connect, [&](int fd, sockaddr const* address, socklen_t length) {
        waiting.give();
        return interpose::connect.real(fd, address, length);
    });
    zelobox::Listener const listener(zelobox::defaultSocketPath, 0);
    std::vector<zelobox::Descriptor> const fillers = fillBacklog();
    std::optional<Link> link(std::in_place);
    link->start();
    waiting.wait();
    expectTimelyEnd(link);
    EXPECT_THAT(logged(), IsEmpty());
}

TEST(StoppingByTheDestructor, IsAStopBeforeTheConnectionIsClosed)
{
    zelobox::Listener listener;
    RecordingHandler handler;
    std::optional<IPCMessengerClient> client(std::in_place);
    client->addHandler(&handler);
    client->start(nullptr);
    zelobox::Connection middleware = listener.accept();
    ASSERT_TRUE(handler.waitFor("connected"));
    standin::clearLog();
    std::vector<std::string> order; // of what this thread does
    auto const note = [&order, self = pthread_self()](char const* what) {
        if (pthread_equal(self, pthread_self()) != 0) {
            order.emplace_back(what);
        }
    };
    {
        Takeover joining(
            interpose::pthread_join,
            [&](pthread_t thread, void** result) {
                note("join");
                return interpose::pthread_join.real(thread, result);
            },
            interpose::Threads::All);
        Takeover closing(
            interpose::close,
            [&](int fd) {
                note("close");
                return interpose::close.real(fd);
            },
            interpose::Threads::All);
        client.reset();
    }
    EXPECT_THAT(order, ElementsAre("join", "join", "close")) << "the client, its sender, the socket";
    EXPECT_THAT(handler.events(), ElementsAre("connected"));
    EXPECT_THAT(logged(), ElementsAre(line::closing));
    EXPECT_TRUE(middleware.waitForClose());
}

TEST_F(Stopping, BetweenFramesSaysThatItClosesTheConnection)
{
    connect();
    expectTimelyEnd(link);
    EXPECT_THAT(logged(), ElementsAre(line::closing));
    EXPECT_EQ("src/ipc/IPCMessengerClient", standin::logLines("Closing connection").at(0).file);
    EXPECT_TRUE(middleware.waitForClose());
}

TEST_F(Stopping, LetsNoHandlerRunAfterwards)
{
    connect();
    link->stop();
    EXPECT_THROW(middleware.send(numberFrame(IPC_VOLUME, 1)), zelobox::PeerClosed);
    EXPECT_THAT(link->handler.events(), ElementsAre("connected"));
    link.reset();
    EXPECT_THAT(standin::logLines("New message received"), IsEmpty());
}

TEST_F(Stopping, WaitsForAHandlerThatIsJustRunning)
{
    probe::Signal running;
    probe::Signal mayEnd;
    std::atomic<bool> ended{false};
    link->handler.whenReceived = [&](IPCMessage const*) {
        running.give();
        mayEnd.wait();
        ended = true;
    };
    connect();
    middleware.send(numberFrame(IPC_VOLUME, 1));
    middleware.send(numberFrame(IPC_MUTE, 1));
    running.wait();
    std::thread stopping([&] {
        link->stop();
        EXPECT_TRUE(ended);
    });
    EXPECT_TRUE(eventually([&] { return !link->client.isRunning(); }));
    mayEnd.give();
    stopping.join();
    EXPECT_THAT(link->handler.events(), ElementsAre("connected", "message 39"));
}

TEST_F(Stopping, AtRestIsPrompt)
{
    connect();
    expectTimelyEnd(link, std::min(Milliseconds(50), timely::stopLimit));
}

/// The base's function of that name would wait for a time-out.
TEST_F(Stopping, AtRestIsPromptByItsOtherName)
{
    connect();
    timely::expectTimely([this] { link->client.stopThread(); }, std::min(Milliseconds(50), timely::stopLimit));
}

TEST_F(Stopping, IsNotNeededToEndADroppedConnectionOfWhichAForkedChildHoldsACopy)
{
    std::atomic<int> used{-1};
    Takeover receiving(interpose::recv, [&](int fd, void* buffer, size_t size, int flags) {
        used = fd;
        return interpose::recv.real(fd, buffer, size, flags);
    });
    connect();
    ASSERT_TRUE(eventually([&] { return used >= 0; }));
    zelobox::Descriptor const copy(fcntl(used, F_DUPFD_CLOEXEC, 0));
    middleware.sendBytes(Bytes(8, 0));
    EXPECT_TRUE(middleware.waitForClose(Milliseconds(1000)));
    EXPECT_TRUE(link->handler.waitFor("connected", 2));
}
