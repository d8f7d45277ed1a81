#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <memory>

#include "tests/zelobox/Client.h"
#include "tests/zelobox/Program.h"
#include "zelobox/protocol/TraceFile.h"

using program::connectTo;
using program::Ended;
using program::run;
using testing::HasSubstr;
using zelobox::Connection;
using zelobox::Direction;
using zelobox::Frame;
using zelobox::TraceRecord;

namespace {

using Event = TraceRecord::Event;

Frame const request = {IPC_PAYLOAD_RAW, IPC_CONFIG_REQUEST, {}};
Frame const state = {IPC_PAYLOAD_UINT32, IPC_CLIENT_STATE, {0, 0, 0, 2}};
Frame const window = {IPC_PAYLOAD_RAW, IPC_VIDEO_WINDOW, {0, 0, 0, 0, 0, 0, 0, 0, 0}};
Frame const volume = {IPC_PAYLOAD_UINT32, IPC_VOLUME, {0, 0, 0, 30}};
Frame const mute = {IPC_PAYLOAD_UINT32, IPC_MUTE, {0, 0, 0, 1}};

/// A trace that grows, a millisecond a record.
class Recorded {
public:
    Recorded& add(unsigned connection, Event event, std::string const& reason = "")
    {
        TraceRecord record;
        record.time = time += 1000;
        record.connection = connection;
        record.event = event;
        record.reason = reason;
        records.push_back(record);
        return *this;
    }
    Recorded& toHost(unsigned connection, Frame const& frame)
    {
        add(connection, Event::Frame);
        records.back().frame = frame;
        return *this;
    }
    Recorded& toMiddleware(unsigned connection, Frame const& frame)
    {
        toHost(connection, frame);
        records.back().direction = Direction::ToMiddleware;
        return *this;
    }
    Recorded& pause(std::chrono::microseconds duration)
    {
        time += duration.count();
        return *this;
    }

    std::vector<TraceRecord> records;

private:
    int64_t time = 1795219200000000;
};

/// Two connections: the middleware closes the first one.
Recorded twice()
{
    Recorded recorded;
    recorded.add(1, Event::Connected).toMiddleware(1, request).toHost(1, volume).toMiddleware(1, state);
    recorded.add(1, Event::Disconnected, "dropped by the middleware");
    recorded.add(2, Event::Connected).toHost(2, mute).toMiddleware(2, request);
    return recorded.add(2, Event::Disconnected, "closed by the client");
}

/// A running replay whose library the test plays.
class ReplayCommand : public testing::Test {
protected:
    void start(Recorded const& recorded, program::Words more = {}, std::string const& name = "trace.jsonl")
    {
        zelobox::TraceWriter writer(directory.path(name));
        for (TraceRecord const& record : recorded.records) {
            writer.write(record);
        }
        more.insert(more.begin(), {"replay", directory.path(name), "--socket", socket()});
        running = std::make_unique<program::Program>(program::command(more));
        ASSERT_TRUE(running->waitForText("listens on " + socket()));
    }

    /// What the library does in twice().
    void playTwice()
    {
        Connection first = connectTo(socket());
        first.send(request);
        EXPECT_EQ(volume, first.receive());
        first.send(state);
        EXPECT_TRUE(first.waitForClose());
        Connection second = connectTo(socket());
        EXPECT_EQ(mute, second.receive());
        second.send(request);
        EXPECT_TRUE(second.waitForClose());
    }

    void expectEnd(int status, std::string const& errors)
    {
        Ended const ended = running->wait();
        EXPECT_EQ(status, ended.status) << ended.output;
        EXPECT_EQ(errors, ended.errors);
        EXPECT_FALSE(program::exists(socket()));
    }

    std::string socket() const { return directory.path("messenger"); }

    program::Directory directory;
    std::unique_ptr<program::Program> running;
};

} // namespace

TEST_F(ReplayCommand, DoesWhatTheMiddlewareDid)
{
    for (char const* const name : {"trace.jsonl", "trace.pcapng"}) {
        for (program::Words const& options : {program::Words{}, program::Words{"--fast"}}) {
            start(twice(), options, name);
            playTwice();
            expectEnd(0, "");
        }
    }
}

TEST_F(ReplayCommand, PrintsTheTraffic)
{
    start(twice());
    playTwice();
    EXPECT_TRUE(program::hasInOrder(
        running->wait().output,
        {"connection 1 connected\n", "library     1 sends IPC_CONFIG_REQUEST\n",
         "middleware  1 sends IPC_VOLUME value=30\n", "library     1 sends IPC_CLIENT_STATE value=2\n",
         "connection 1 disconnected: closed by the middleware\n", "connection 2 connected\n",
         "middleware  2 sends IPC_MUTE value=1\n", "replay      all 9 records as they were\n"}));
}

TEST_F(ReplayCommand, SendsNothingBeforeItsTime)
{
    using Clock = std::chrono::steady_clock;
    std::chrono::milliseconds const pause(300);
    Recorded recorded;
    start(recorded.add(1, Event::Connected).pause(pause).toHost(1, volume));
    Clock::time_point const begin = Clock::now();
    Connection library = connectTo(socket());
    EXPECT_EQ(volume, library.receive());
    EXPECT_GE(Clock::now() - begin, pause);
    expectEnd(0, "");
}

TEST_F(ReplayCommand, DoesNotWaitForTheTimeWhenItIsToBeFast)
{
    Recorded recorded;
    start(recorded.add(1, Event::Connected).pause(std::chrono::hours(1)).toHost(1, volume), {"--fast"});
    Connection library = connectTo(socket());
    EXPECT_EQ(volume, library.receive());
    expectEnd(0, "");
}

TEST_F(ReplayCommand, TakesWhatHasComeWithoutWaiting)
{
    Recorded recorded;
    recorded.add(1, Event::Connected);
    for (int i = 0; i < 1000; ++i) {
        recorded.toMiddleware(1, state);
    }
    start(recorded, {"--fast"});
    auto const begin = std::chrono::steady_clock::now();
    Connection library = connectTo(socket());
    for (int i = 0; i < 1000; ++i) {
        library.send(state);
    }
    expectEnd(0, "");
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(5))
        << "the tolerance has not been waited for";
}

TEST_F(ReplayCommand, ShowsHowFarItIsInPlaceOfTheFrames)
{
    start(twice(), {"--quiet"});
    EXPECT_TRUE(running->waitForText("replay      record 0, 100 % of the trace\n"));
    playTwice();
    Ended const ended = running->wait();
    EXPECT_EQ(0, ended.status);
    EXPECT_THAT(ended.output, testing::Not(HasSubstr("sends")));
    EXPECT_THAT(ended.output, HasSubstr("replay      all 9 records as they were\n"));
}

TEST_F(ReplayCommand, SendsNothingBeforeTheLibraryHasSentWhatCameBefore)
{
    for (program::Words const& options : {program::Words{}, program::Words{"--fast"}}) {
        Recorded recorded;
        start(recorded.add(1, Event::Connected).toMiddleware(1, request).toHost(1, volume), options);
        Connection library = connectTo(socket());
        EXPECT_TRUE(library.isSilentFor(std::chrono::milliseconds(100)));
        library.send(request);
        EXPECT_EQ(volume, library.receive());
        expectEnd(0, "");
    }
}

TEST_F(ReplayCommand, SendsRawBytesAsTheyWere)
{
    Recorded recorded;
    recorded.add(1, Event::Connected).add(1, Event::Raw);
    recorded.records.back().bytes = {'m', 0, '\xff'};
    start(recorded.toMiddleware(1, request));
    Connection library = connectTo(socket());
    EXPECT_EQ((std::vector<char>{'m', 0, '\xff'}), library.receiveBytes(3));
    library.send(request);
    expectEnd(0, "");
}

TEST_F(ReplayCommand, NamesTheFirstDifference)
{
    start(twice());
    Connection library = connectTo(socket());
    library.send(request);
    EXPECT_EQ(volume, library.receive());
    library.send({IPC_PAYLOAD_UINT32, IPC_CLIENT_STATE, {0, 0, 0, 3}});
    expectEnd(1, "record 4, connection 1: the library does something else than it did\n"
                 "  expected: IPC_CLIENT_STATE value=2\n"
                 "  actual:   IPC_CLIENT_STATE value=3\n");
}

TEST_F(ReplayCommand, TellsAKindFromAnother)
{
    Recorded recorded;
    start(recorded.add(1, Event::Connected).toMiddleware(1, request));
    connectTo(socket()).send({9, IPC_CONFIG_REQUEST, {}});
    EXPECT_EQ(1, running->wait().status);
}

TEST_F(ReplayCommand, NoticesAFrameBeforeTheEndOfAConnection)
{
    Recorded recorded;
    recorded.add(1, Event::Connected).add(1, Event::Disconnected, "closed by the client").add(2, Event::Connected);
    start(recorded);
    Connection library = connectTo(socket());
    library.send(request);
    expectEnd(1, "record 2, connection 1: the library does something else than it did\n"
                 "  expected: closes the connection\n"
                 "  actual:   IPC_CONFIG_REQUEST\n");
}

TEST_F(ReplayCommand, NoticesALibraryThatClosesTooEarly)
{
    start(twice());
    connectTo(socket()).close();
    expectEnd(1, "record 2, connection 1: the library does something else than it did\n"
                 "  expected: IPC_CONFIG_REQUEST\n"
                 "  actual:   closed by the client\n");
}

TEST_F(ReplayCommand, NoticesALibraryThatClosesInPlaceOfTheMiddleware)
{
    Recorded recorded;
    recorded.add(1, Event::Connected).pause(std::chrono::hours(1));
    start(recorded.add(1, Event::Disconnected, "closed by the middleware"));
    connectTo(socket()).close();
    expectEnd(1, "record 2, connection 1: the library does something else than it did\n"
                 "  expected: stays connected until the middleware closes\n"
                 "  actual:   closed by the client\n");
}

TEST_F(ReplayCommand, EndsWithACodeOfItsOwnWhenTheLibraryIsTooLate)
{
    start(twice(), {"--tolerance", "0.1"});
    Connection library = connectTo(socket());
    expectEnd(3, "record 2, connection 1: the library is too late\n"
                 "  expected: IPC_CONFIG_REQUEST\n"
                 "  actual:   nothing\n");
}

TEST_F(ReplayCommand, WaitsForTheConnectsToo)
{
    start(twice(), {"--wait", "0.1"});
    expectEnd(3, "record 1: the library is too late\n  expected: connects\n  actual:   nothing\n");
    start(twice(), {"--tolerance", "0.1"});
    Connection library = connectTo(socket());
    library.send(request);
    library.send(state);
    EXPECT_EQ(volume, library.receive());
    expectEnd(3, "record 6: the library is too late\n  expected: connects\n  actual:   nothing\n");
}

TEST_F(ReplayCommand, NoticesAConnectTooMany)
{
    Recorded recorded;
    start(recorded.add(1, Event::Connected).toMiddleware(1, request));
    Connection const library = connectTo(socket());
    Connection const again = connectTo(socket());
    expectEnd(1, "the library connects more often than the 1 times that it did\n");
}

TEST_F(ReplayCommand, LeavesOutWhatIsToBeIgnored)
{
    Recorded recorded;
    recorded.add(1, Event::Connected).toMiddleware(1, window).toMiddleware(1, state).toMiddleware(1, request);
    start(recorded, {"--ignore", "host", "--ignore", "IPC_CLIENT_STATE"});
    Connection library = connectTo(socket());
    library.send({IPC_PAYLOAD_UINT32, IPC_PREVIOUS_CONTROLLER, {0, 0, 0, 4}});
    library.send(request);
    expectEnd(0, "");
}

TEST_F(ReplayCommand, ExpectsWhatTheHostCausesUnlessItIsIgnored)
{
    Recorded recorded;
    start(recorded.add(1, Event::Connected).toMiddleware(1, request).toMiddleware(1, window));
    Connection library = connectTo(socket());
    library.send(request);
    library.send(request);
    EXPECT_THAT(running->wait().errors, HasSubstr("record 3, connection 1"));
}

TEST_F(ReplayCommand, RemovesItsSocketFileOnCtrlC)
{
    start(twice());
    running->signal(SIGINT);
    expectEnd(130, "");
}

TEST_F(ReplayCommand, RefusesToRunBesideAnotherServer)
{
    zelobox::Listener const listener(socket());
    zelobox::TraceWriter(directory.path("trace")).write(twice().records[0]);
    Ended const second = run({"replay", directory.path("trace"), "--socket", socket()});
    EXPECT_EQ(2, second.status);
    EXPECT_EQ("zelobox replay: another server is listening on " + socket() + "; stop it first\n", second.errors);
    EXPECT_TRUE(program::exists(socket()));
}

TEST(ReplayCommandLine, SaysWhatIsWrongWithTraceAndOptions)
{
    program::Directory const directory;
    EXPECT_EQ(2, run({"replay", "/nowhere/trace"}).status);
    EXPECT_THAT(run({"replay", directory.file("bad", "{}")}).errors, HasSubstr("bad line 1: field \"time\""));
    EXPECT_THAT(run({"replay", directory.file("empty", "")}).errors, HasSubstr("is empty"));
    Ended const mistyped = run({"replay", "-", "--ignore", "IPC_VOLUM"});
    EXPECT_EQ(2, mistyped.status);
    EXPECT_THAT(mistyped.errors, HasSubstr("--ignore: IPC_VOLUM not in"));
    Ended const help = run({"replay", "--help"});
    EXPECT_EQ(0, help.status);
    EXPECT_TRUE(program::hasInOrder(help.output, {"Usage: zelobox replay", "Examples:", "zelobox replay"}));
}
