// What looks like a failed call and is none: time-outs, signals, a descriptor 0.
#include <errno.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include "testkit/HostStandIn.h"
#include "testkit/Interpose.h"
#include "testkit/LinkSupport.h"

using namespace testlink;
using interpose::Takeover;
using testing::ElementsAre;

namespace {

/// Closes a standard stream for a scope.
class Without {
public:
    explicit Without(int standardStream)
        : stream(standardStream), saved(fcntl(standardStream, F_DUPFD_CLOEXEC, STDERR_FILENO + 1))
    {
        close(stream);
    }
    ~Without()
    {
        if (saved) {
            dup2(saved.get(), stream);
        }
    }

private:
    int const stream;
    zelobox::Descriptor const saved;
};

/// Holds the client's sockets back until the start is over, which opens a file for the thread's name: the file could
/// have the descriptor 0 for a moment.
class SocketsAfterTheStart {
public:
    void start(Link& link)
    {
        link.start();
        started.give();
    }

private:
    probe::Signal started;
    Takeover<int(int, int, int)> opening{interpose::socket, [this](int domain, int type, int protocol) {
                                             started.wait();
                                             return interpose::socket.real(domain, type, protocol);
                                         }};
};

std::atomic<int> signalsHandled{0};

void countSignal(int)
{
    ++signalsHandled;
}

/// Has the signal handled for a scope by a function that does not restart system calls.
class HandledSignal {
public:
    explicit HandledSignal(int which) : number(which)
    {
        struct sigaction action = {};
        action.sa_handler = countSignal;
        sigaction(number, &action, &before);
    }
    ~HandledSignal() { sigaction(number, &before, nullptr); }

private:
    int const number;
    struct sigaction before = {};
};

} // namespace

TEST(Interrupted, AConnectOnAFullBacklogGoesOnUncounted)
{
    std::atomic<int> timeouts{0};
    Takeover connecting(interpose::connect, [&](int fd, sockaddr const* address, socklen_t length) {
        int const result = interpose::connect.real(fd, address, length);
        timeouts += result != 0 && errno == EAGAIN ? 1 : 0;
        return result;
    });
    zelobox::Listener listener(zelobox::defaultSocketPath, 0);
    std::vector<zelobox::Descriptor> const waiting = fillBacklog();
    Link link;
    link.start();
    ASSERT_TRUE(eventually([&] { return timeouts >= 2; }));
    for (size_t i = 0; i < waiting.size(); ++i) {
        listener.accept();
    }
    zelobox::Connection const middleware = listener.accept();
    ASSERT_TRUE(link.handler.waitFor("connected"));
    EXPECT_THAT(logged(), ElementsAre(line::connected, line::retrierOk));
}

TEST(Interrupted, AConnectGoesOnAfterASignal)
{
    Takeover connecting(interpose::connect, [left = 3](int fd, sockaddr const* address, socklen_t length) mutable {
        errno = EINTR;
        return left-- > 0 ? -1 : interpose::connect.real(fd, address, length);
    });
    zelobox::Listener listener;
    Link link;
    zelobox::Connection const middleware = link.startAndAccept(listener);
    EXPECT_EQ(4U, connecting.count());
    EXPECT_THAT(logged(), ElementsAre(line::connected, line::retrierOk));
}

TEST(Interrupted, AReceptionGoesOnAfterASignal)
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

TEST(Interrupted, AWriteGoesOnAfterASignal)
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

TEST(Interrupted, TrafficSurvivesAStormOfSignals)
{
    HandledSignal const handled(SIGUSR1);
    std::atomic<pthread_t> receiver{};
    std::atomic<pthread_t> sender{};
    probe::Signal senderKnown;
    zelobox::Listener listener;
    Link link;
    link.handler.whenConnected = [&] { receiver = pthread_self(); };
    zelobox::Connection middleware = link.startAndAccept(listener);
    link.push(new ActingMessage([&] {
        sender = pthread_self();
        senderKnown.give();
    }));
    senderKnown.wait();
    middleware.receive();
    uint32_t const messages = 300;
    for (uint32_t i = 0; i < messages; ++i) {
        pthread_kill(receiver, SIGUSR1);
        pthread_kill(sender, SIGUSR1);
        middleware.send(numberFrame(IPC_VOLUME, i));
        link.push(new IPCMessageUnsignedInt(IPC_CLIENT_STATE, i));
        ASSERT_EQ(numberFrame(IPC_CLIENT_STATE, i), middleware.receive());
    }
    ASSERT_TRUE(link.handler.waitFor("message 39", messages));
    EXPECT_LT(0, signalsHandled);
    EXPECT_THAT(logged(), ElementsAre(line::connected, line::retrierOk));
}

TEST(DescriptorZero, IsMovedAboveTheStandardStreamsBecauseItMeansNone)
{
    std::atomic<int> used{-1};
    std::atomic<bool> zeroIsFree{false};
    Takeover connecting(interpose::connect, [&](int fd, sockaddr const* address, socklen_t length) {
        used = fd;
        zeroIsFree = fcntl(STDIN_FILENO, F_GETFD) < 0;
        return interpose::connect.real(fd, address, length);
    });
    zelobox::Listener listener;
    Without const withoutInput(STDIN_FILENO);
    Without const withoutErrors(STDERR_FILENO);
    SocketsAfterTheStart sockets;
    zelobox::Connection middleware{zelobox::Descriptor()};
    {
        Link link;
        sockets.start(link);
        middleware = listener.accept();
        ASSERT_TRUE(link.handler.waitFor("connected"));
        EXPECT_LT(STDERR_FILENO, used);
        EXPECT_TRUE(zeroIsFree);
        EXPECT_EQ(FD_CLOEXEC, fcntl(used, F_GETFD));
        middleware.send(numberFrame(IPC_VOLUME, 1));
        EXPECT_TRUE(link.handler.waitFor("message 39"));
    }
    EXPECT_THAT(logged(), ElementsAre(line::connected, line::retrierOk, line::closing));
}

TEST(DescriptorZero, FailsTheAttemptWhenItCannotBeMoved)
{
    Takeover controlling(interpose::fcntl, [refuses = true](int fd, int command, void* argument) mutable {
        bool const refused = command == F_DUPFD && std::exchange(refuses, false);
        return refused ? -1 : interpose::fcntl.real(fd, command, argument);
    });
    standin::setVirtualTime(1000000);
    zelobox::Listener listener;
    Without const withoutInput(STDIN_FILENO);
    SocketsAfterTheStart sockets;
    Link link;
    sockets.start(link);
    ASSERT_TRUE(standin::waitForLog("ipc_connection - failed"));
    EXPECT_THAT(logged(), ElementsAre(line::noCloseOnExec, line::cannotConnect, line::firstFailure));
    EXPECT_EQ(-1, fcntl(STDIN_FILENO, F_GETFD));
    standin::advanceVirtualTime(1000000);
    zelobox::Connection const middleware = listener.accept();
    EXPECT_TRUE(link.handler.waitFor("connected"));
}

class StandardStream : public testing::TestWithParam<int> {};

TEST_P(StandardStream, OfTheHostIsNeverTheSocket)
{
    std::atomic<int> used{-1};
    Takeover connecting(interpose::connect, [&](int fd, sockaddr const* address, socklen_t length) {
        used = fd;
        return interpose::connect.real(fd, address, length);
    });
    zelobox::Listener listener;
    Without const without(GetParam());
    SocketsAfterTheStart sockets;
    Link link;
    sockets.start(link);
    zelobox::Connection const middleware = listener.accept();
    EXPECT_TRUE(link.handler.waitFor("connected"));
    EXPECT_LT(STDERR_FILENO, used);
}

INSTANTIATE_TEST_SUITE_P(Closed, StandardStream, testing::Values(STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO));
