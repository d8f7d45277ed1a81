// How the client gets its socket and connects it.
#include <errno.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include "testkit/HostStandIn.h"
#include "testkit/Interpose.h"
#include "testkit/LinkSupport.h"

using namespace testlink;
using interpose::Takeover;
using testing::ElementsAre;

namespace {

bool waitForFailure()
{
    return standin::waitForLog("ipc_connection - failed");
}

/// Lets @p failing fail once, and expects one counted failure and then a connection.
template <typename Failure> void expectOneFailedAttempt(Failure const& expectLog)
{
    standin::setVirtualTime(1000000);
    zelobox::Listener listener;
    Link link;
    link.start();
    ASSERT_TRUE(waitForFailure());
    expectLog();
    standin::clearLog();
    standin::advanceVirtualTime(1000000);
    zelobox::Connection const middleware = listener.accept();
    ASSERT_TRUE(link.handler.waitFor("connected"));
    EXPECT_THAT(logged(), ElementsAre(line::connected, line::retrierOk));
}

/// Connects where nothing listens. @return the error of the first attempt
int errorOfFirstAttempt()
{
    std::atomic<int> error{0};
    Takeover connecting(interpose::connect, [&](int fd, sockaddr const* address, socklen_t length) {
        int const result = interpose::connect.real(fd, address, length);
        error = result == 0 ? 0 : errno;
        return result;
    });
    standin::setVirtualTime(1000000);
    Link link;
    link.start();
    EXPECT_TRUE(waitForFailure());
    EXPECT_THAT(logged(), ElementsAre(line::cannotConnect, line::firstFailure));
    return error;
}

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

} // namespace

TEST(Connecting, GivesTheKernelFamilyAndPathWithoutATerminator)
{
    Bytes address;
    Takeover connecting(interpose::connect, [&](int fd, sockaddr const* given, socklen_t length) {
        char const* const begin = reinterpret_cast<char const*>(given);
        address.assign(begin, begin + length);
        return interpose::connect.real(fd, given, length);
    });
    zelobox::Listener listener;
    Link link;
    zelobox::Connection const middleware = link.startAndAccept(listener);
    std::string const path = "/tmp/zelo_messenger";
    sa_family_t const family = AF_UNIX;
    char const* const familyBytes = reinterpret_cast<char const*>(&family);
    EXPECT_EQ(Bytes(familyBytes, familyBytes + sizeof family) + Bytes(path.begin(), path.end()), address);
    EXPECT_EQ(21U, address.size());
}

TEST(Connecting, MakesAStreamSocketThatIsClosedOnExec)
{
    std::atomic<int> made{-1};
    Takeover making(interpose::socket, [&](int domain, int type, int protocol) {
        EXPECT_EQ(AF_UNIX, domain);
        EXPECT_EQ(SOCK_STREAM, type);
        EXPECT_EQ(0, protocol);
        made = interpose::socket.real(domain, type, protocol);
        return made.load();
    });
    zelobox::Listener listener;
    Link link;
    zelobox::Connection const middleware = link.startAndAccept(listener);
    EXPECT_EQ(FD_CLOEXEC, fcntl(made, F_GETFD));
}

TEST(Connecting, CarriesOnWhenTheSocketCannotBeClosedOnExec)
{
    Takeover controlling(interpose::fcntl, [](int fd, int command, void* argument) {
        return command == F_SETFD ? -1 : interpose::fcntl.real(fd, command, argument);
    });
    zelobox::Listener listener;
    Link link;
    zelobox::Connection const middleware = link.startAndAccept(listener);
    EXPECT_THAT(logged(), ElementsAre(line::noCloseOnExec, line::connected, line::retrierOk));
}

TEST(Connecting, FailsWithoutASocketFile)
{
    EXPECT_EQ(ENOENT, errorOfFirstAttempt());
}

TEST(Connecting, FailsOnASocketFileThatNobodyListensOn)
{
    zelobox::Descriptor dead(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_storage address = {};
    address.ss_family = AF_UNIX;
    std::string const path = zelobox::defaultSocketPath;
    path.copy(reinterpret_cast<char*>(&address) + sizeof(sa_family_t), path.size());
    socklen_t const length = static_cast<socklen_t>(sizeof(sa_family_t) + path.size());
    unlink(path.c_str());
    ASSERT_EQ(0, bind(dead.get(), reinterpret_cast<sockaddr const*>(&address), length));
    dead.reset();
    EXPECT_EQ(ECONNREFUSED, errorOfFirstAttempt());
    unlink(path.c_str());
}

TEST(Connecting, FailsWithoutPermission)
{
    uid_t const self = geteuid();
    uid_t const nobody = 65534;
    zelobox::Listener listener;
    ASSERT_EQ(0, chmod(zelobox::defaultSocketPath, 0));
    ASSERT_EQ(0, self == 0 ? seteuid(nobody) : 0);
    EXPECT_EQ(EACCES, errorOfFirstAttempt());
    ASSERT_EQ(0, self == 0 ? seteuid(self) : 0);
}

TEST(Connecting, CountsASocketThatCannotBeMadeAsAFailedAttempt)
{
    Takeover making(interpose::socket, [first = true](int domain, int type, int protocol) mutable {
        errno = EMFILE;
        return std::exchange(first, false) ? -1 : interpose::socket.real(domain, type, protocol);
    });
    expectOneFailedAttempt(
        [] { EXPECT_THAT(logged(), ElementsAre(line::noCloseOnExec, line::cannotConnect, line::firstFailure)); });
}

class ConnectingWithoutTimeout : public testing::TestWithParam<int> {};

TEST_P(ConnectingWithoutTimeout, CountsAsAFailedAttempt)
{
    Takeover setting(
        interpose::setsockopt,
        [first = true, refused = GetParam()](int fd, int level, int option, void const* value, socklen_t size) mutable {
            bool const fails = option == refused && std::exchange(first, false);
            return fails ? -1 : interpose::setsockopt.real(fd, level, option, value, size);
        });
    expectOneFailedAttempt([] { EXPECT_THAT(logged(), ElementsAre(line::cannotConnect, line::firstFailure)); });
}

INSTANTIATE_TEST_SUITE_P(Options, ConnectingWithoutTimeout, testing::Values(SO_RCVTIMEO, SO_SNDTIMEO),
                         [](testing::TestParamInfo<int> const& instance) {
                             return instance.param == SO_RCVTIMEO ? "Receive" : "Send";
                         });

TEST(Connecting, ClosesTheSocketOfAFailedAttempt)
{
    std::atomic<int> made{-1};
    std::atomic<int> closed{-1};
    Takeover making(interpose::socket, [&](int domain, int type, int protocol) {
        made = interpose::socket.real(domain, type, protocol);
        return made.load();
    });
    Takeover closing(interpose::close, [&](int fd) {
        closed = fd;
        return interpose::close.real(fd);
    });
    std::atomic<int> closedAtTheLine{-2};
    standin::onLog([&](standin::LogLine const& line) {
        if (line.message == "ipc_connection - failed (total 1 times), wait 1.00 sec before next retry") {
            closedAtTheLine = closed.load();
        }
    });
    standin::setVirtualTime(1000000);
    Link link;
    link.start();
    EXPECT_TRUE(eventually([&] { return closed >= 0; }));
    standin::onLog({});
    EXPECT_EQ(-1, closedAtTheLine) << "the lines come first";
    EXPECT_EQ(made, closed);
}

TEST(Connecting, GoesOnUncountedWhileTheBacklogIsFull)
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

TEST(Connecting, GoesOnAfterASignal)
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
    std::atomic<bool> streamIsClosed{false};
    Takeover connecting(interpose::connect, [&](int fd, sockaddr const* address, socklen_t length) {
        used = fd;
        streamIsClosed = fcntl(GetParam(), F_GETFD) < 0;
        return interpose::connect.real(fd, address, length);
    });
    zelobox::Listener listener;
    Without const without(GetParam());
    Without const another(GetParam() == STDERR_FILENO ? STDIN_FILENO : STDERR_FILENO);
    SocketsAfterTheStart sockets;
    Link link;
    sockets.start(link);
    zelobox::Connection const middleware = listener.accept();
    ASSERT_TRUE(link.handler.waitFor("connected"));
    EXPECT_LT(STDERR_FILENO, used);
    EXPECT_EQ(FD_CLOEXEC, fcntl(used, F_GETFD));
    EXPECT_TRUE(streamIsClosed);
    EXPECT_THAT(logged(), ElementsAre(line::connected, line::retrierOk));
}

INSTANTIATE_TEST_SUITE_P(Closed, StandardStream, testing::Values(STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO),
                         testing::PrintToStringParamName());
