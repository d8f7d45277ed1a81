#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include "tests/zelobox/Client.h"
#include "tests/zelobox/Program.h"
#include "zelobox/capture/TraceReading.h"
#include "zelobox/protocol/BrowserConfigJson.h"

using program::connectTo;
using program::Ended;
using program::hasInOrder;
using program::run;
using testing::HasSubstr;

namespace {

/// A running middleware with a socket of its own.
class MiddlewareCommand : public testing::Test {
protected:
    void start(program::Words more = {})
    {
        more.insert(more.begin(), {"middleware", "--socket", socket()});
        running = std::make_unique<program::Program>(program::command(more));
        ASSERT_TRUE(running->waitForText("listens on " + socket()));
    }

    /// As Ctrl-C does.
    Ended stop()
    {
        running->signal(SIGINT);
        return running->wait();
    }

    std::string socket() const { return directory.path("messenger"); }

    program::Directory directory;
    std::unique_ptr<program::Program> running;
};

zelobox::Frame configurationRequest()
{
    return {IPC_PAYLOAD_RAW, IPC_CONFIG_REQUEST, {}};
}

} // namespace

TEST_F(MiddlewareCommand, AnswersTheConfigurationRequestFromItsFile)
{
    std::string const file =
        directory.file("middleware.json", R"({"language":"fr","displayWidth":640,"auxText2":"more"})");
    start({"--config", file});
    zelobox::Connection client = connectTo(socket());
    client.send(configurationRequest());
    zelobox::Frame const answer = client.receive();
    EXPECT_EQ(IPC_BROWSER_CONFIG, answer.type);
    EXPECT_EQ(IPC_PAYLOAD_RAW, answer.kind);
    IPCBrowserConfig received;
    ASSERT_TRUE(received.read(answer.payload));
    EXPECT_EQ("fr", received.language);
    EXPECT_EQ(640, received.displayWidth);
    EXPECT_EQ(1080, received.displayHeight);
    EXPECT_EQ("more", received.auxText2);
    client.close();
    EXPECT_EQ(0, stop().status);
}

TEST_F(MiddlewareCommand, PrintsEveryFrameAndKeepsItsState)
{
    start();
    zelobox::Connection client = program::subscribe(socket(), {IPC_REMOTE_KEY, IPC_VOLUME});
    client.send({IPC_PAYLOAD_RAW, IPC_VIDEO_WINDOW, {1, 0, 0, 2, 3, 0, 0, 4, 0}});
    client.send(zelobox::frameOf(IPCMessageSimpleString(IPC_VIDEO_WINDOW_MODE, "box")));
    client.send(zelobox::frameOf(IPCMessageUnsignedInt(IPC_PREVIOUS_CONTROLLER, 4)));
    client.send({IPC_PAYLOAD_UINT32, 99, {0, 0, 0, 1}});
    client.close();
    EXPECT_TRUE(running->waitForText("disconnected"));
    Ended const ended = stop();
    EXPECT_TRUE(hasInOrder(
        ended.output,
        {"middleware  connection 1 connected\n", "library     1 sends IPC_ALLOWED_MESSAGE_LIST types=[26,39]\n",
         "library     1 sends IPC_CONFIG_REQUEST\n", "middleware  1 sends IPC_BROWSER_CONFIG forcePortalUrl=false mac",
         "library     1 sends IPC_VIDEO_WINDOW x=256 y=2 width=768 height=4\n",
         "library     1 sends IPC_VIDEO_WINDOW_MODE text=\"box\"\n",
         "library     1 sends IPC_PREVIOUS_CONTROLLER value=4\n", "library     1 sends type 99 value=1\n",
         "middleware  connection 1 disconnected: closed by the client\n", "its state was {",
         "\"videoWindow\":{\"x\":256,\"y\":2,\"width\":768,\"height\":4}", "\"windowMode\":\"box\"",
         "\"applicationHasControl\":false"}));
}

TEST_F(MiddlewareCommand, ServesSeveralClients)
{
    start();
    zelobox::Connection first = connectTo(socket());
    zelobox::Connection second = connectTo(socket());
    second.send(configurationRequest());
    EXPECT_EQ(IPC_BROWSER_CONFIG, second.receive().type);
    first.send(configurationRequest());
    EXPECT_EQ(IPC_BROWSER_CONFIG, first.receive().type);
    first.close();
    second.send(configurationRequest());
    EXPECT_EQ(IPC_BROWSER_CONFIG, second.receive().type);
    EXPECT_EQ(0, stop().status);
}

TEST_F(MiddlewareCommand, DropsAClientThatIsOutOfStepAndServesTheOthers)
{
    start();
    zelobox::Connection good = connectTo(socket());
    zelobox::Connection bad = connectTo(socket());
    bad.sendBytes({'x', 0, 0, 0, 0, 0, 0, 0});
    EXPECT_TRUE(bad.waitForClose());
    good.send(configurationRequest());
    EXPECT_EQ(IPC_BROWSER_CONFIG, good.receive().type);
    EXPECT_THAT(stop().output, HasSubstr("connection 2 disconnected: a frame began with a wrong sync byte\n"));
}

TEST_F(MiddlewareCommand, SurvivesAClientThatVanishesInTheMiddleOfAFrame)
{
    start();
    zelobox::Connection client = connectTo(socket());
    client.sendBytes({'m', 1, 0, 39, 0, 0, 0, 4, 0});
    client.close();
    EXPECT_TRUE(running->waitForText("closed by the client in the middle of a frame"));
    zelobox::Connection next = connectTo(socket());
    next.send(configurationRequest());
    EXPECT_EQ(IPC_BROWSER_CONFIG, next.receive().type);
    EXPECT_EQ(0, stop().status);
}

TEST_F(MiddlewareCommand, RemovesItsSocketFileOnCtrlC)
{
    start();
    EXPECT_TRUE(program::exists(socket()));
    Ended const ended = stop();
    EXPECT_EQ(0, ended.status);
    EXPECT_EQ("", ended.errors);
    EXPECT_FALSE(program::exists(socket()));
}

TEST_F(MiddlewareCommand, EndsInTheSameWayWhenTerminated)
{
    start();
    running->signal(SIGTERM);
    EXPECT_EQ(0, running->wait().status);
    EXPECT_FALSE(program::exists(socket()));
}

TEST_F(MiddlewareCommand, LeavesASocketFileThatIsNotItsOwn)
{
    start();
    ASSERT_EQ(0, unlink(socket().c_str()));
    directory.file("messenger", "somebody else's");
    EXPECT_EQ(0, stop().status);
    EXPECT_TRUE(program::exists(socket()));
}

TEST_F(MiddlewareCommand, TakesOverASocketFileThatNobodyListensOn)
{
    start();
    running->signal(SIGKILL);
    EXPECT_EQ(128 + SIGKILL, running->wait().status);
    ASSERT_TRUE(program::exists(socket()));
    start();
    EXPECT_EQ(0, stop().status);
}

TEST_F(MiddlewareCommand, RefusesToRunBesideAnotherServer)
{
    start();
    Ended const second = run({"middleware", "--socket", socket()});
    EXPECT_EQ(2, second.status);
    EXPECT_EQ("zelobox middleware: another server is listening on " + socket() + "; stop it first\n", second.errors);
    zelobox::Connection client = connectTo(socket()); // the first still has its socket
    client.send(configurationRequest());
    EXPECT_EQ(IPC_BROWSER_CONFIG, client.receive().type);
    EXPECT_EQ(0, stop().status);
}

TEST_F(MiddlewareCommand, HasTheFaultsThatItIsTold)
{
    start({"--fault", "lie-inside", "--fault", "die-on-vanish"});
    zelobox::Connection client = program::subscribe(socket(), {IPC_APP_LIFECYCLE});
    EXPECT_EQ(IPC_APP_LIFECYCLE, client.receive().type);
    client.sendBytes({'m'});
    client.close();
    Ended const ended = running->wait();
    EXPECT_EQ(1, ended.status);
    EXPECT_THAT(ended.output, HasSubstr("middleware  dies: a client has gone in the middle of a frame\n"));
    EXPECT_FALSE(program::exists(socket()));
}

TEST_F(MiddlewareCommand, PlaysItsSideOfAScenarioAgainstWhoeverConnects)
{
    std::string const scenario = directory.file("mine.jsonl", R"({"scenario":"mine","config":{"language":"fi"}}
{"call":"start"}
{"expect":{"connection":"connected"},"within":1}
{"expect":{"frame":"IPC_ALLOWED_MESSAGE_LIST"}}
{"expect":{"frame":"IPC_CONFIG_REQUEST"}}
{"send":{"frame":"IPC_VOLUME","value":30}}
{"expect":{"callback":"volumeChanged","volume":30}}
{"expect":{"frame":"IPC_CONFIG_STATE","value":2}}
)");
    start({"--scenario", scenario});
    EXPECT_TRUE(running->waitForText("host        please call start\n"));
    zelobox::Connection client = program::subscribe(socket(), {IPC_VOLUME});
    EXPECT_EQ(zelobox::frameOf(IPCMessageUnsignedInt(IPC_VOLUME, 30)), client.receive());
    EXPECT_TRUE(running->waitForText("host        should report callback=\"volumeChanged\" volume=30\n"));
    client.send(zelobox::frameOf(IPCMessageUnsignedInt(IPC_CONFIG_STATE, 2)));
    Ended const ended = running->wait();
    EXPECT_EQ(0, ended.status) << ended.errors;
    EXPECT_TRUE(hasInOrder(ended.output, {"language=\"fi\"", "scenario    mine: all 7 steps as expected\n"}));
    EXPECT_FALSE(program::exists(socket()));
}

TEST_F(MiddlewareCommand, NamesTheStepThatWentWrong)
{
    std::string const scenario =
        directory.file("mine.jsonl", "{\"scenario\":\"mine\"}\n{\"expect\":{\"frame\":\"IPC_CONFIG_STATE\"}}\n");
    start({"--scenario", scenario});
    zelobox::Connection client = connectTo(socket());
    Ended const other = running->wait();
    EXPECT_EQ(1, other.status);
    EXPECT_TRUE(hasInOrder(other.errors, {"mine.jsonl line 2", "actual:   {\"connection\":\"connected\"}"}));
    start({"--scenario", scenario, "--patience", "0"});
    EXPECT_EQ(130, stop().status);
    Ended const late = run({"middleware", "--socket", socket(), "--patience", "1", "--scenario",
                            directory.file("late.jsonl", "{\"scenario\":\"late\"}\n{\"expect\":{\"connection\":"
                                                         "\"connected\"},\"within\":1}\n")});
    EXPECT_EQ(3, late.status);
    EXPECT_THAT(late.errors, HasSubstr("actual:   nothing within 1000 ms"));
}

TEST_F(MiddlewareCommand, CarriesOutStepsFromItsInput)
{
    start({"--input"});
    zelobox::Connection client = program::subscribe(socket(), {IPC_VOLUME});
    running->write("{\"send\":{\"frame\":\"IPC_VOLUME\",\"value\":3}}\n");
    EXPECT_EQ(zelobox::frameOf(IPCMessageUnsignedInt(IPC_VOLUME, 3)), client.receive());
    running->write("{\"send\":{\"frame\":\"IPC_MUTE\",\"value\":1}}\n");
    EXPECT_TRUE(running->waitForText("actual:   none\n"));
    running->write("{\"quiet\":1}\nnonsense\n");
    EXPECT_TRUE(running->waitForText("input line 3: only say, send and fault are for the input\n"));
    EXPECT_TRUE(running->waitForText("input line 4: "));
    running->write("{\"fault\":\"drop\"}\n");
    running->closeInput();
    EXPECT_TRUE(client.waitForClose());
    EXPECT_EQ(0, stop().status);
}

TEST_F(MiddlewareCommand, SendsWhatNobodyHasSubscribedToWhenToldSo)
{
    start({"--input", "--unsubscribed"});
    zelobox::Connection client = program::subscribe(socket(), {});
    running->write("{\"send\":{\"frame\":\"IPC_VOLUME\",\"value\":3}}\n");
    EXPECT_EQ(IPC_VOLUME, client.receive().type);
    EXPECT_EQ(0, stop().status);
}

TEST_F(MiddlewareCommand, WritesATraceOfWhatItSees)
{
    start({"--trace", directory.path("trace.jsonl")});
    program::subscribe(socket(), {IPC_VOLUME}).close();
    EXPECT_TRUE(running->waitForText("disconnected"));
    EXPECT_EQ(0, stop().status);
    std::vector<std::string> texts;
    for (zelobox::TraceRecord const& record : zelobox::readTrace(directory.path("trace.jsonl"))) {
        texts.push_back(textOf(record));
    }
    EXPECT_THAT(texts,
                testing::ElementsAre("connected", "IPC_ALLOWED_MESSAGE_LIST types=[39]", "IPC_CONFIG_REQUEST",
                                     testing::StartsWith("IPC_BROWSER_CONFIG "), "disconnected: closed by the client"));
    Ended const ended = run({"middleware", "--socket", socket(), "--trace", "/nowhere/trace.jsonl"});
    EXPECT_EQ(2, ended.status);
    EXPECT_THAT(ended.errors, HasSubstr("/nowhere/trace.jsonl"));
}

TEST(MiddlewareCommandLine, ListsTheFaultModesForOneThatItDoesNotKnow)
{
    Ended const ended = run({"middleware", "--fault", "rudely"});
    EXPECT_EQ(2, ended.status);
    EXPECT_THAT(ended.errors, HasSubstr("\"rudely\" is none of: none, drop, garbage, lie, "));
}

TEST(MiddlewareCommandLine, SaysWhyItCannotListen)
{
    Ended const ended = run({"middleware", "--socket", "/nowhere/messenger"});
    EXPECT_EQ(2, ended.status);
    EXPECT_EQ("zelobox middleware: cannot listen on /nowhere/messenger: No such file or directory; the directory must "
              "be there and "
              "writable\n",
              ended.errors);
}

TEST(MiddlewareCommandLine, SaysThatItHasNoPermission)
{
    // A place where not even root may make a file.
    Ended const ended = run({"middleware", "--socket", "/sys/messenger"});
    EXPECT_EQ(2, ended.status);
    EXPECT_THAT(ended.errors,
                testing::ContainsRegex("cannot listen on /sys/messenger: .*(permitted|denied|Read-only)"));
}

TEST(MiddlewareCommandLine, NamesAMistypedOption)
{
    Ended const ended = run({"middleware", "--sokcet", "/tmp/x"});
    EXPECT_EQ(2, ended.status);
    EXPECT_EQ("zelobox middleware: there is no option --sokcet; did you mean --socket?\n", ended.errors);
    EXPECT_EQ("", ended.output);
}

TEST(MiddlewareCommandLine, NamesAMissingOrMistypedCommand)
{
    Ended const missing = run({});
    EXPECT_EQ(2, missing.status);
    EXPECT_THAT(missing.errors, HasSubstr("Usage: zelobox"));
    Ended const ended = run({"midleware"});
    EXPECT_EQ(2, ended.status);
    EXPECT_THAT(ended.errors, HasSubstr("midleware"));
}

TEST(MiddlewareCommandLine, HelpsWithExamples)
{
    for (char const* const command : {"demo", "middleware", "host", "check"}) {
        Ended const ended = run({command, "--help"});
        EXPECT_EQ(0, ended.status);
        EXPECT_TRUE(hasInOrder(
            ended.output, {"Usage: zelobox " + std::string(command), "Examples:", "zelobox " + std::string(command)}));
    }
}

TEST(MiddlewareCommandLine, NamesFileAndFieldOfABadConfiguration)
{
    program::Directory const directory;
    auto const errorsOf = [&](std::string const& text) {
        Ended const ended = run({"middleware", "--config", directory.file("middleware.json", text)});
        EXPECT_EQ(2, ended.status) << text;
        return ended.errors;
    };
    std::string const start = "zelobox middleware: " + directory.path("middleware.json") + ": ";
    EXPECT_THAT(
        errorsOf(R"({"displayWidth":65536})"),
        testing::StartsWith(start + "field \"displayWidth\": expected a whole number from 0 to 65535, found 65536"));
    EXPECT_THAT(errorsOf(R"({"langauge":"en"})"),
                testing::StartsWith(start + "field \"langauge\": is unknown here; known are: "));
    EXPECT_THAT(errorsOf(R"({"macAddress":"0A:1B"})"), testing::StartsWith(start + "field \"macAddress\": expected"));
    EXPECT_THAT(errorsOf("{\n\"language\":"), HasSubstr("line 2"));
    EXPECT_THAT(errorsOf("[1]"), testing::StartsWith(start + "expected an object"));

    Ended const missing = run({"middleware", "--config", directory.path("none.json")});
    EXPECT_EQ(2, missing.status);
    EXPECT_THAT(missing.errors, HasSubstr("none.json: cannot be read"));
}
