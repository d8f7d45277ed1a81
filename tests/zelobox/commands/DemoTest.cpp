#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <cerrno>
#include <fstream>

#include "tests/zelobox/Program.h"
#include "zelobox/protocol/Peer.h"
#include "zelobox/scenario/Scenario.h"

using program::Directory;
using program::Ended;
using program::hasInOrder;
using program::run;
using testing::HasSubstr;

namespace {

/// Plays a scenario of these lines after the usual head.
Ended play(std::string const& steps, program::Words more = {})
{
    Directory const directory;
    std::string const head = R"({"scenario":"test","answering":false})";
    more.insert(more.end(), {"--scenario", directory.file("test.jsonl", head + "\n" + steps)});
    return run(program::demo(more));
}

/// Up to the moment when the start waits for the configuration.
char const handshake[] = R"({"call":"start"}
{"expect":{"connection":"connected"}}
{"expect":{"frame":"IPC_ALLOWED_MESSAGE_LIST"}}
{"expect":{"frame":"IPC_CONFIG_REQUEST"}}
{"expect":{"frame":"IPC_CLIENT_STATE","value":2}}
)";

} // namespace

TEST(Demo, PlaysThroughAndPrintsBothSidesInOrder)
{
    Ended const ended = run(program::demo());
    EXPECT_EQ(0, ended.status) << ended.errors;
    EXPECT_EQ("", ended.errors);
    EXPECT_TRUE(
        hasInOrder(ended.output, {"middleware  listens on /tmp/zelo_messenger\n",
                                  "scenario    == the start waits",
                                  "host        calls start\n",
                                  "middleware  connection 1 connected\n",
                                  "library     1 sends IPC_ALLOWED_MESSAGE_LIST types=[8,24,25,26,27,36,39,42,49,58]\n",
                                  "library     1 sends IPC_CONFIG_REQUEST\n",
                                  "library     1 sends IPC_CLIENT_STATE value=2\n",
                                  "middleware  1 sends IPC_BROWSER_CONFIG forcePortalUrl=false macAddress=",
                                  "\"02:00:5E:10:20:30\" displayWidth=1280",
                                  "library     1 sends IPC_CONFIG_STATE value=2\n",
                                  "library     1 sends IPC_VIDEO_WINDOW x=0 y=0 width=0 height=0\n",
                                  "library     1 sends IPC_VIDEO_WINDOW_MODE text=\"box\"\n",
                                  "host        answers start\n",
                                  "host        answers env: key=4 known=true value=\"de\"\n",
                                  "host        answers display: width=1280 height=720\n",
                                  "middleware  1 sends IPC_REMOTE_KEY command=44 modifier=1 (Return)\n",
                                  "host        callback key: key=13 name=\"Return\" modifier=1\n",
                                  "middleware  1 sends IPC_REMOTE_KEY command=9029 modifier=0 (none)\n",
                                  "host        callback key: key=0 name=\"none\" modifier=0\n",
                                  "middleware  1 sends IPC_VOLUME value=30\n",
                                  "host        callback volumeChanged: volume=30 muted=false\n",
                                  "middleware  1 sends IPC_MUTE value=1\n",
                                  "host        callback volumeChanged: volume=30 muted=true\n",
                                  "middleware  1 sends IPC_APP_LIFECYCLE text=\"onpause\"\n",
                                  "host        callback pause\n",
                                  "host        callback resume\n",
                                  "host        calls video 100 50 640 360\n",
                                  "library     1 sends IPC_VIDEO_WINDOW x=100 y=50 width=640 height=360\n",
                                  "host        calls previous\n",
                                  "library     1 sends IPC_PREVIOUS_CONTROLLER value=4\n",
                                  "middleware  connection 1 disconnected: dropped by the middleware\n",
                                  "middleware  connection 2 connected\n",
                                  "library     2 sends IPC_ALLOWED_MESSAGE_LIST",
                                  "library     2 sends IPC_ALLOWED_MESSAGE_LIST",
                                  "library     2 sends IPC_CONFIG_REQUEST\n",
                                  "host        calls cdm 0x12345678\n",
                                  "\"init cel=305419896\"",
                                  "host        calls stop\n",
                                  "middleware  connection 2 disconnected: closed by the client\n",
                                  "host        has ended: exit status 0\n",
                                  "scenario    demo: all "}));
    EXPECT_FALSE(program::exists(zelobox::defaultSocketPath));
}

TEST(Demo, PlaysEveryScenarioThatComesAlong)
{
    for (std::string const& name : zelobox::scenarioNames()) {
        Ended const ended = run(program::demo({name}));
        EXPECT_EQ(0, ended.status) << ended.output << ended.errors;
        EXPECT_THAT(ended.output, HasSubstr("scenario    " + name + ": all "));
    }
}

TEST(Demo, NamesStepExpectedAndActualWhenSomethingElseHappens)
{
    Ended const ended = play(R"({"call":"display"}
{"expect":{"result":"display","width":1}}
)");
    EXPECT_EQ(1, ended.status);
    EXPECT_TRUE(hasInOrder(ended.errors, {"test.jsonl line 3: expect {\"result\":\"display\",\"width\":1}\n",
                                          "  expected: {\"result\":\"display\",\"width\":1}\n",
                                          "  actual:   {\"result\":\"display\",\"width\":0,\"height\":0}\n"}));
    EXPECT_THAT(ended.output, HasSubstr("scenario    failed\n"));
}

TEST(Demo, ComparesFramesFieldByField)
{
    Ended const ended = play(R"({"call":"start"}
{"expect":{"connection":"connected"}}
{"expect":{"frame":"IPC_ALLOWED_MESSAGE_LIST","types":[8]}}
)");
    EXPECT_EQ(1, ended.status);
    EXPECT_TRUE(hasInOrder(ended.errors, {"line 4", "expected: {\"frame\":\"IPC_ALLOWED_MESSAGE_LIST\",\"types\":[8]}",
                                          "actual:   {\"frame\":\"IPC_ALLOWED_MESSAGE_LIST\",\"types\":[8,24,"}));
}

TEST(Demo, HasAnExitCodeOfItsOwnForTimeOuts)
{
    Ended const ended = play(R"({"expect":{"connection":"connected"},"within":50})");
    EXPECT_EQ(3, ended.status);
    EXPECT_TRUE(hasInOrder(ended.errors,
                           {"line 2", "expected: {\"connection\":\"connected\"}", "actual:   nothing within 50 ms"}));
}

TEST(Demo, EndsAtTheLimitOfTheScenario)
{
    Directory const directory;
    std::string const scenario = directory.file("slow.jsonl", R"({"scenario":"slow","limit":100}
{"expect":{"connection":"connected"},"within":60000}
)");
    Ended const ended = run(program::demo({"--scenario", scenario}));
    EXPECT_EQ(3, ended.status);
    EXPECT_THAT(ended.errors, HasSubstr("actual:   the limit of 100 ms has passed"));
}

TEST(Demo, FailsWhenSomethingHappensThatShouldNot)
{
    Ended const ended = play(std::string(handshake) + R"({"call":"display"}
{"quiet":60000})");
    EXPECT_EQ(1, ended.status);
    EXPECT_TRUE(
        hasInOrder(ended.errors, {"line 8", "expected: nothing for 60000 ms", "actual:   {\"result\":\"display\""}));
}

TEST(Demo, FailsWhenSomethingIsLeftOver)
{
    Ended const ended = play(R"({"call":"display"})");
    EXPECT_EQ(1, ended.status);
    EXPECT_TRUE(hasInOrder(ended.errors,
                           {"the end of the scenario", "expected: nothing more", "actual:   {\"result\":\"display\""}));
}

TEST(Demo, SendsOnlyWhatTheLibraryHasSubscribedTo)
{
    Ended const refused = play(std::string(handshake) + R"({"send":{"frame":"IPC_RECORDER_STATS","value":1}})");
    EXPECT_EQ(1, refused.status);
    EXPECT_TRUE(
        hasInOrder(refused.errors, {"expected: a client that has subscribed to IPC_RECORDER_STATS", "actual:   none"}));

    Ended const ended =
        play(std::string(handshake) + R"({"send":{"frame":"IPC_RECORDER_STATS","value":1},"unsubscribed":true}
{"call":"stop"}
{"expect":{"result":"start"}}
{"expect":{"result":"stop"}}
{"expect":{"connection":"disconnected"}})");
    EXPECT_EQ(0, ended.status) << ended.errors;
}

TEST(Demo, FailsWhenTheHostDies)
{
    Ended const ended = play(R"({"expect":{"result":"start"}})", {"--host-command", "sh -c 'echo gone >&2; exit 5' #"});
    EXPECT_EQ(1, ended.status);
    EXPECT_THAT(ended.output, HasSubstr("host log    gone\n"));
    EXPECT_THAT(ended.errors, HasSubstr("actual:   the host has ended: exit status 5"));
}

TEST(Demo, FailsWhenTheHostEndsBadly)
{
    Ended const ended = play("", {"--host-command", "sh -c 'read line; kill -11 $$' #"});
    EXPECT_EQ(1, ended.status);
    EXPECT_TRUE(hasInOrder(ended.errors, {"expected: the host ends with exit status 0", "actual:   signal 11"}));
}

TEST(Demo, ShowsWhyAHostCannotRun)
{
    Ended const ended = play(handshake, {"--lib", "/nowhere/libzelocobalt.so"});
    EXPECT_EQ(1, ended.status);
    EXPECT_TRUE(hasInOrder(ended.output, {"cannot load /nowhere/libzelocobalt.so", "say with --lib where it is"}));
    EXPECT_THAT(ended.errors, HasSubstr("actual:   the host has ended: exit status 2"));
}

TEST(Demo, RefusesToRunBesideAnotherServer)
{
    zelobox::Listener const other;
    Ended const ended = run(program::demo());
    EXPECT_EQ(2, ended.status);
    EXPECT_EQ("zelobox demo: another server is listening on /tmp/zelo_messenger; stop it first\n", ended.errors);
    EXPECT_TRUE(program::exists(zelobox::defaultSocketPath));
}

TEST(Demo, NamesTheScenariosThatThereAre)
{
    Ended const ended = run(program::demo({"--scenario", "demmo"}));
    EXPECT_EQ(2, ended.status);
    EXPECT_TRUE(
        hasInOrder(ended.errors, {"demmo: cannot be read and is none of the scenarios that come along:", " demo"}));
}

TEST(Demo, CleansUpAfterCtrlC)
{
    Directory const directory;
    std::string const scenario = directory.file("long.jsonl", "{\"scenario\":\"long\"}\n" + std::string(handshake) +
                                                                  "{\"say\":\"now\"}\n{\"wait\":60000}\n");
    std::string host = "sh -c 'echo $$ >" + directory.path("host") + "; exec \"$@\"' sh";
    for (std::string const& word : program::command({})) {
        host += " " + word;
    }
    program::Program demo(program::command({"demo", "--scenario", scenario, "--host-command", host}));
    ASSERT_TRUE(demo.waitForText("== now"));
    pid_t hostId = 0;
    std::ifstream(directory.path("host")) >> hostId;
    ASSERT_EQ(0, kill(hostId, 0));
    demo.signal(SIGINT);
    Ended const ended = demo.wait();
    EXPECT_EQ(130, ended.status);
    EXPECT_THAT(ended.output, HasSubstr("scenario    interrupted\n"));
    EXPECT_FALSE(program::exists(zelobox::defaultSocketPath));
    EXPECT_EQ(-1, kill(hostId, 0));
    EXPECT_EQ(ESRCH, errno);
}
