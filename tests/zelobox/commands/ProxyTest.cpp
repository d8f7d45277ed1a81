#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <memory>
#include <random>
#include <thread>

#include "tests/zelobox/Client.h"
#include "tests/zelobox/Program.h"
#include "zelobox/capture/TraceReading.h"

using program::connectTo;
using program::Ended;
using program::hasInOrder;
using program::run;
using testing::ElementsAre;
using testing::HasSubstr;
using zelobox::Connection;
using zelobox::Direction;
using zelobox::Frame;
using zelobox::Listener;

namespace {

Frame const request = {IPC_PAYLOAD_RAW, IPC_CONFIG_REQUEST, {}};
Frame const volume = {IPC_PAYLOAD_UINT32, IPC_VOLUME, {0, 0, 0, 30}};

std::vector<char> noise(size_t size)
{
    std::mt19937 random(1); // the same in every run
    std::vector<char> bytes(size);
    for (char& byte : bytes) {
        byte = static_cast<char>(random());
    }
    return bytes;
}

size_t const plenty = size_t{4} << 20; // more than the buffers of three sockets

/// @return how many bytes the other side of @p client takes without anybody reading them
size_t fill(Connection const& client)
{
    std::vector<char> const chunk(4096, 'm');
    size_t sent = 0;
    pollfd entry = {client.descriptor(), POLLOUT, 0};
    while (sent < plenty && poll(&entry, 1, 500) > 0) {
        ssize_t const count = send(client.descriptor(), chunk.data(), chunk.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
        sent += count > 0 ? static_cast<size_t>(count) : 0;
    }
    return sent;
}

/// A running proxy before a middleware that the test plays.
class ProxyCommand : public testing::Test {
protected:
    void SetUp() override { start(directory.path("trace.jsonl")); }

    void start(std::string const& trace, program::Words more = {})
    {
        more.insert(more.begin(),
                    {"proxy", "--listen", front(), "--connect", directory.path("back"), "--trace", trace});
        running = std::make_unique<program::Program>(program::command(more));
        ASSERT_TRUE(running->waitForText("listens on " + front()));
    }

    void connect()
    {
        client = std::make_unique<Connection>(connectTo(front()));
        middleware = std::make_unique<Connection>(listener->accept());
    }

    Ended stop()
    {
        running->signal(SIGINT);
        return running->wait();
    }

    /// @return the trace without times
    std::vector<std::string> trace() const
    {
        std::vector<std::string> lines;
        for (zelobox::TraceRecord const& record : zelobox::readTrace(directory.path("trace.jsonl"))) {
            char const* const arrow = record.direction == Direction::ToHost ? " < " : " > ";
            lines.push_back(std::to_string(record.connection) + arrow + zelobox::textOf(record));
        }
        return lines;
    }

    std::string front() const { return directory.path("front"); }

    program::Directory directory;
    std::unique_ptr<Listener> listener = std::make_unique<Listener>(directory.path("back"));
    std::unique_ptr<program::Program> running;
    std::unique_ptr<Connection> client;
    std::unique_ptr<Connection> middleware;
};

} // namespace

TEST_F(ProxyCommand, PassesOnAndTellsBothDirections)
{
    connect();
    client->send(request);
    EXPECT_EQ(request, middleware->receive());
    middleware->send(volume);
    EXPECT_EQ(volume, client->receive());
    client->close();
    EXPECT_TRUE(middleware->waitForClose());
    Ended const ended = stop();
    EXPECT_EQ(0, ended.status);
    EXPECT_EQ("", ended.errors);
    EXPECT_TRUE(hasInOrder(ended.output,
                           {"middleware  connection 1 connected\n", "library     1 sends IPC_CONFIG_REQUEST\n",
                            "middleware  1 sends IPC_VOLUME value=30\n", "disconnected: closed by the client\n"}));
    EXPECT_THAT(trace(), ElementsAre("1 < connected", "1 > IPC_CONFIG_REQUEST", "1 < IPC_VOLUME value=30",
                                     "1 < disconnected: closed by the client"));
}

TEST_F(ProxyCommand, TracesToItsOutputAndTalksOnTheOther)
{
    stop();
    start("-");
    connect();
    client->send(request);
    EXPECT_EQ(request, middleware->receive());
    EXPECT_TRUE(running->waitForText("\"name\":\"IPC_CONFIG_REQUEST\"")) << "while it runs";
    client->close();
    EXPECT_TRUE(middleware->waitForClose());
    Ended const ended = stop();
    EXPECT_TRUE(hasInOrder(ended.errors, {"listens on ", "connection 1 connected\n", "disconnected: "}));
    EXPECT_THAT(ended.errors, testing::Not(HasSubstr("IPC_CONFIG_REQUEST")));
    EXPECT_TRUE(hasInOrder(run({"decode", "-"}, ended.output).output,
                           {"connection 1 connected\n", "1 sends IPC_CONFIG_REQUEST\n", "disconnected: "}));
}

TEST_F(ProxyCommand, OverwritesATraceOnlyWhenForced)
{
    stop();
    std::string const file = directory.file("kept.jsonl", "precious");
    program::Words const words = {"proxy", "--listen", front(), "--connect", directory.path("back"), "--trace", file};
    Ended const refused = run(words);
    EXPECT_EQ(2, refused.status);
    EXPECT_THAT(refused.errors, HasSubstr(file + ": is there already; --force overwrites it\n"));
    EXPECT_EQ("precious", zelobox::contentsOf(file));
    start(file, {"--force"});
    EXPECT_EQ("", zelobox::contentsOf(file));
}

TEST_F(ProxyCommand, KeepsTheLatestOfWhatIsTooMuch)
{
    stop();
    std::string const file = directory.path("ring.pcapng");
    start(file, {"--limit", "8K"});
    connect();
    for (unsigned i = 0; i < 500; ++i) {
        middleware->send({IPC_PAYLOAD_UINT32, IPC_VOLUME, {0, 0, static_cast<char>(i >> 8), static_cast<char>(i)}});
        client->receive();
    }
    stop();
    EXPECT_GE(8192U, zelobox::contentsOf(file).size() + zelobox::contentsOf(file + ".old").size());
    EXPECT_LT(4096U, zelobox::contentsOf(file).size() + zelobox::contentsOf(file + ".old").size());
    std::vector<zelobox::TraceRecord> all = zelobox::readTrace(file + ".old");
    std::vector<zelobox::TraceRecord> const latest = zelobox::readTrace(file);
    all.insert(all.end(), latest.begin(), latest.end());
    ASSERT_LT(40U, all.size());
    for (size_t i = 0; i + 1 < all.size(); ++i) { // the last one is the end
        unsigned const value = 500 - static_cast<unsigned>(all.size() - 1 - i);
        EXPECT_EQ("IPC_VOLUME value=" + std::to_string(value), textOf(all[i]));
    }
}

TEST_F(ProxyCommand, PassesOnAFrameThatIsNotAllThereYet)
{
    connect();
    for (char const byte : zelobox::bytesOf(volume)) {
        middleware->sendBytes({byte});
        EXPECT_EQ(std::vector<char>{byte}, client->receiveBytes(1));
    }
    middleware->close();
    EXPECT_TRUE(client->waitForClose());
    stop();
    EXPECT_THAT(trace(),
                ElementsAre("1 < connected", "1 < IPC_VOLUME value=30", "1 < disconnected: closed by the middleware"));
}

TEST_F(ProxyCommand, ChangesNoByteAndRecordsEveryOne)
{
    stop();
    start(directory.path("trace.jsonl"), {"--quiet", "--force"});
    connect();
    std::vector<char> const bytes = noise(300000);
    std::thread sender([&] { client->sendBytes(bytes, std::chrono::seconds(30)); });
    EXPECT_EQ(bytes, middleware->receiveBytes(bytes.size(), std::chrono::seconds(30)));
    sender.join();
    client->close();
    EXPECT_TRUE(middleware->waitForClose());
    EXPECT_THAT(stop().output, testing::Not(HasSubstr("raw bytes")));
    std::vector<char> recorded;
    for (zelobox::TraceRecord const& record : zelobox::readTrace(directory.path("trace.jsonl"))) {
        bool const raw = record.event == zelobox::TraceRecord::Event::Raw;
        bool const frame = record.event == zelobox::TraceRecord::Event::Frame;
        std::vector<char> const part = frame ? zelobox::bytesOf(record.frame) : record.bytes;
        recorded.insert(recorded.end(), part.begin(), (raw || frame) ? part.end() : part.begin());
    }
    EXPECT_EQ(bytes, recorded);
}

TEST_F(ProxyCommand, RecordsBytesThatAreNoFrameAsRaw)
{
    connect();
    client->send(request);
    client->sendBytes({'x', 'y'});
    client->send(request);
    client->sendBytes({'m', 1});
    EXPECT_EQ(20U, middleware->receiveBytes(20).size());
    client->close();
    EXPECT_TRUE(middleware->waitForClose());
    stop();
    EXPECT_THAT(trace(),
                ElementsAre("1 < connected", "1 > IPC_CONFIG_REQUEST", "1 > raw bytes 7879", "1 > IPC_CONFIG_REQUEST",
                            "1 > raw bytes 6d01", "1 < disconnected: closed by the client"));
}

TEST_F(ProxyCommand, StopsReadingWhileTheOtherSideDoesNotRead)
{
    stop();
    start(directory.path("trace.jsonl"), {"--quiet", "--force"});
    connect();
    size_t const sent = fill(*client);
    EXPECT_GT(sent, 0U);
    EXPECT_LT(sent, plenty) << "the proxy takes what nobody reads";
    middleware->send(volume);
    EXPECT_EQ(volume, client->receive()) << "the other direction is not affected";
    EXPECT_EQ(std::vector<char>(sent, 'm'), middleware->receiveBytes(sent));
    client->send(request);
    EXPECT_EQ(request, middleware->receive());
    EXPECT_EQ(0, stop().status);
}

TEST_F(ProxyCommand, EndsALinkWhoseSidesBothDoNotReadAnyMore)
{
    stop();
    start(directory.path("trace.jsonl"), {"--quiet", "--force"});
    connect();
    fill(*client);
    fill(*middleware);
    middleware->close();
    EXPECT_TRUE(client->waitForClose());
    EXPECT_TRUE(running->waitForText("disconnected"));
    EXPECT_EQ(0, stop().status);
}

TEST_F(ProxyCommand, ClosesTheClientWhenTheMiddlewareDiesAndFindsANewOne)
{
    connect();
    middleware->send(volume);
    middleware->close();
    listener.reset();
    EXPECT_EQ(volume, client->receive()) << "what the middleware said before";
    EXPECT_TRUE(client->waitForClose());
    Connection refused = connectTo(front());
    EXPECT_TRUE(refused.waitForClose());
    listener = std::make_unique<Listener>(directory.path("back"));
    connect();
    client->send(request);
    EXPECT_EQ(request, middleware->receive());
    EXPECT_EQ(0, stop().status);
    EXPECT_THAT(trace(),
                ElementsAre("1 < connected", "1 < IPC_VOLUME value=30", "1 < disconnected: closed by the middleware",
                            "2 < connected",
                            "2 < disconnected: no middleware listens on " + directory.path("back") +
                                " (No such file or directory), so the client is closed",
                            "3 < connected", "3 > IPC_CONFIG_REQUEST", "3 < disconnected: closed by the proxy"));
}

TEST_F(ProxyCommand, PassesOnWhatWasSaidBeforeAnEnd)
{
    stop();
    start(directory.path("trace.jsonl"), {"--quiet", "--force"});
    connect();
    client->sendBytes(std::vector<char>(100000, 'm'));
    client->close();
    EXPECT_EQ(std::vector<char>(100000, 'm'), middleware->receiveBytes(100000));
    EXPECT_TRUE(middleware->waitForClose());
}

TEST_F(ProxyCommand, PassesOnTheEndOfOneDirectionAlone)
{
    connect();
    shutdown(client->descriptor(), SHUT_WR);
    EXPECT_TRUE(middleware->waitForClose());
    middleware->send(volume);
    EXPECT_EQ(volume, client->receive());
    shutdown(middleware->descriptor(), SHUT_WR);
    EXPECT_TRUE(client->waitForClose());
    EXPECT_TRUE(running->waitForText("disconnected: closed by the middleware"));
}

TEST_F(ProxyCommand, KeepsClientsApart)
{
    connect();
    Connection first = std::move(*client);
    Connection firstMiddleware = std::move(*middleware);
    connect();
    middleware->send(volume);
    EXPECT_EQ(volume, client->receive());
    client->close();
    EXPECT_TRUE(middleware->waitForClose());
    first.send(request);
    EXPECT_EQ(request, firstMiddleware.receive());
    first.close();
    EXPECT_TRUE(running->waitForText("connection 1 disconnected"));
    stop();
    EXPECT_THAT(trace(), ElementsAre("1 < connected", "2 < connected", "2 < IPC_VOLUME value=30",
                                     "2 < disconnected: closed by the client", "1 > IPC_CONFIG_REQUEST",
                                     "1 < disconnected: closed by the client"));
}

TEST_F(ProxyCommand, ClosesEverythingAndRemovesItsSocketFileOnCtrlC)
{
    connect();
    Ended const ended = stop();
    EXPECT_EQ(0, ended.status);
    EXPECT_TRUE(client->waitForClose());
    EXPECT_TRUE(middleware->waitForClose());
    EXPECT_FALSE(program::exists(front()));
    EXPECT_THAT(trace(), ElementsAre("1 < connected", "1 < disconnected: closed by the proxy"));
}

TEST_F(ProxyCommand, LeavesASocketFileThatIsNotItsOwn)
{
    ASSERT_EQ(0, unlink(front().c_str()));
    directory.file("front", "somebody else's");
    EXPECT_EQ(0, stop().status);
    EXPECT_TRUE(program::exists(front()));
}

TEST_F(ProxyCommand, RefusesToRunBesideAnotherServer)
{
    Ended const second = run({"proxy", "--listen", front(), "--connect", directory.path("back")});
    EXPECT_EQ(2, second.status);
    EXPECT_EQ("zelobox proxy: another server is listening on " + front() + "; stop it first\n", second.errors);
    EXPECT_TRUE(listener->accept().waitForClose()); // that was the second one's look at who is there
    connect();
    client->send(request);
    EXPECT_EQ(request, middleware->receive());
}

TEST_F(ProxyCommand, GoesOnWithoutATraceWhenThereIsNoRoom)
{
    stop();
    start("/dev/full");
    connect();
    client->send(request);
    EXPECT_EQ(request, middleware->receive());
    EXPECT_TRUE(running->waitForText("No space left on device; goes on without a trace"));
    EXPECT_EQ(1, stop().status);
}

TEST(ProxyCommandLine, SaysWhatIsWrongWithItsOptions)
{
    Ended const missing = run({"proxy"});
    EXPECT_EQ(2, missing.status);
    EXPECT_THAT(missing.errors, HasSubstr("--connect is required"));
    Ended const same = run({"proxy", "--listen", "/tmp/x", "--connect", "/tmp/x"});
    EXPECT_EQ(2, same.status);
    EXPECT_THAT(same.errors, HasSubstr("--listen and --connect are the same"));
    EXPECT_THAT(run({"proxy", "--connect", "/tmp/x", "--trace", "/nowhere/x"}).errors,
                HasSubstr("/nowhere/x: cannot be written"));
    Ended const help = run({"proxy", "--help"});
    EXPECT_EQ(0, help.status);
    EXPECT_TRUE(hasInOrder(help.output, {"Usage: zelobox proxy", "Examples:", "zelobox proxy"}));
}
