#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <unistd.h>

#include <sstream>

#include "tests/zelobox/Program.h"
#include "zelobox/protocol/BrowserConfigJson.h"
#include "zelobox/protocol/BrowserConfigPayload.h"
#include "zelobox/protocol/Peer.h"

using program::Ended;
using program::hasInOrder;
using program::run;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace {

/// @return the connection of a library that has got its configuration and has acknowledged it
zelobox::Connection configure(zelobox::Listener& listener)
{
    zelobox::Connection library = listener.accept(zelobox::Milliseconds(30000));
    for (IPCMessageType const type : {IPC_ALLOWED_MESSAGE_LIST, IPC_CONFIG_REQUEST, IPC_CLIENT_STATE}) {
        EXPECT_EQ(type, library.receive().type);
    }
    library.send({IPC_PAYLOAD_RAW, IPC_BROWSER_CONFIG, zelobox::payloadOf(zelobox::defaultConfig())});
    for (IPCMessageType const type : {IPC_CONFIG_STATE, IPC_VIDEO_WINDOW, IPC_VIDEO_WINDOW_MODE}) {
        EXPECT_EQ(type, library.receive().type);
    }
    return library;
}

/// The master and the path of the slave of a new terminal.
struct Terminal {
    zelobox::Descriptor master{posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)};
    std::string slave;

    Terminal()
    {
        EXPECT_EQ(0, grantpt(master.get()));
        EXPECT_EQ(0, unlockpt(master.get()));
        slave = ptsname(master.get());
    }

    std::string read() const
    {
        char bytes[4096];
        ssize_t const count = ::read(master.get(), bytes, sizeof bytes);
        return std::string(bytes, count > 0 ? static_cast<size_t>(count) : 0);
    }
};

} // namespace

TEST(Host, StartsTheLibraryAndReportsCallbacksAndAnswers)
{
    zelobox::Listener listener;
    program::Program host(program::command({"host", "--json"}));
    zelobox::Connection library = configure(listener);
    EXPECT_TRUE(host.waitForText("{\"result\":\"start\"}\n"));
    library.send(zelobox::frameOf(IPCMessageUnsignedInt(IPC_REMOTE_KEY, 0x00FF002C)));
    library.send(zelobox::frameOf(IPCMessageUnsignedInt(IPC_VOLUME, 12)));
    library.send(zelobox::frameOf(IPCMessageSimpleString(IPC_APP_LIFECYCLE, "onpause")));
    library.send(zelobox::frameOf(IPCMessageSimpleString(IPC_APP_LIFECYCLE, "onresume")));
    EXPECT_TRUE(host.waitForText("resume"));
    host.write("video 1 2 3 65537\nvolume\nenv language\ndisplay\nkey 2\n");
    zelobox::Frame const window = library.receive();
    EXPECT_EQ((std::vector<char>{0, 1, 0, 2, 0, 3, 0, 1, 0}), window.payload);
    EXPECT_EQ(IPC_VIDEO_WINDOW_MODE, library.receive().type);
    host.write("previous\n");
    EXPECT_EQ(IPC_PREVIOUS_CONTROLLER, library.receive().type);
    host.write("quit\n");
    EXPECT_TRUE(library.waitForClose());
    Ended const ended = host.wait();
    EXPECT_EQ(0, ended.status);
    EXPECT_TRUE(
        hasInOrder(ended.output,
                   {"{\"callback\":\"key\",\"key\":13,\"name\":\"Return\",\"modifier\":255}\n",
                    "{\"callback\":\"volumeChanged\",\"volume\":12,\"muted\":false}\n", "{\"callback\":\"pause\"}\n",
                    "{\"callback\":\"resume\"}\n", "{\"result\":\"video\",\"ok\":true}\n",
                    "{\"result\":\"volume\",\"volume\":12,\"muted\":false}\n",
                    "{\"result\":\"env\",\"key\":4,\"known\":true,\"value\":\"en\"}\n",
                    "{\"result\":\"display\",\"width\":1920,\"height\":1080}\n",
                    "{\"result\":\"key\",\"key\":36,\"name\":\"Home\"}\n", "{\"result\":\"previous\",\"ok\":true}\n"}));
    EXPECT_THAT(ended.errors, HasSubstr("ZELO cobalt/ZeloCobalt:32: Started.....\n"));
}

TEST(Host, StopsTheLibraryAtTheEndOfItsInputWhileTheStartWaits)
{
    zelobox::Listener listener;
    program::Program host(program::command({"host"}));
    zelobox::Connection library = listener.accept(zelobox::Milliseconds(30000));
    host.closeInput();
    EXPECT_TRUE(library.waitForClose());
    EXPECT_EQ(0, host.wait().status);
}

TEST(Host, StopsAStartThatHasHardlyBegun)
{
    zelobox::Listener listener;
    Ended const ended = run({"host", "--no-start"}, "start\nstop\nstart\nquit\n");
    EXPECT_EQ(0, ended.status);
    EXPECT_TRUE(hasInOrder(ended.output, {"result start\n", "result stop: ms=", "result start\n"}));
}

TEST(Host, StopsTheLibraryOnCtrlC)
{
    zelobox::Listener listener;
    program::Program host(program::command({"host"}));
    zelobox::Connection library = configure(listener);
    host.signal(SIGINT);
    EXPECT_TRUE(library.waitForClose());
    EXPECT_EQ(0, host.wait().status);
}

TEST(HostCommand, AnswersForPeopleWithoutJson)
{
    Ended const ended = run({"host", "--no-start"}, "volume\nenv reserved\nui\n");
    EXPECT_EQ("result volume: volume=0 muted=false\n"
              "result env: key=3 known=false value=\"\"\n"
              "result ui: width=1280 height=720\n",
              ended.output);
    EXPECT_EQ(0, ended.status);
}

TEST(HostCommand, ReachesEveryFunctionOfTheLibrary)
{
    Ended const help = run({"host", "--help"});
    for (char const* const name : {"ZeloStartApp", "ZeloStopApp", "ZeloSetVideoWindow", "ZeloRequestPreviousController",
                                   "ZeloGetVolume", "ZeloGetEnv", "ZeloGetDisplaySize", "ZeloGetUISize",
                                   "ZeloGetCapabilities", "KeyCodeToSbKey", "ZeloCdm", "ZeloCdmIsL1", "ZeloLog"}) {
        EXPECT_THAT(help.output, HasSubstr(std::string(" ") + name)) << name;
    }
    Ended const ended = run({"host", "--no-start"}, "start\nvideo 1 2 3 4\nprevious\nvolume\nenv 3\ndisplay\nui\n"
                                                    "capabilities\nkey 44\ncdm 1\nl1\nlog 1 text\nstop\n");
    for (char const* const answer : {"start", "video: ok=true", "previous: ok=true", "volume: ", "env: key=3",
                                     "display: ", "ui: ", "capabilities: value1=1", "key: key=13", "cdm: object=true",
                                     "l1: l1=false", "log", "stop: ms="}) {
        EXPECT_THAT(ended.output, HasSubstr(std::string("result ") + answer));
    }
    EXPECT_THAT(ended.output, Not(HasSubstr("error")));
}

TEST(HostCommand, ExplainsALineThatItDoesNotUnderstand)
{
    Ended const ended = run({"host", "--no-start"}, "vidoe 1 2 3 4\nfly\nvideo 1 2 3\nvideo 1 2 3 4 5\nkey\nui 1\n"
                                                    "key 44x\nenv 5000000000\nenv langauge\nenv zone\n\n");
    EXPECT_EQ(R"(error: there is no command "vidoe"; did you mean "video"?
error: there is no command "fly"; "help" lists them
error: "video" takes 4 arguments, as in "video 0 0 640 360"
error: "video" takes 4 arguments, as in "video 0 0 640 360"
error: "key" takes one argument, as in "key 44"
error: "ui" takes no argument, as in "ui"
error: "44x" is not a number; expected one like 44 or 0x2C
error: "5000000000" does not fit into 32 bits
error: "langauge" is no KEY; did you mean "language"?
error: "zone" is no KEY; expected storage, firmware, device, reserved, language or a number
)",
              ended.output);
    EXPECT_EQ(0, ended.status);
}

TEST(HostCommand, NamesTheLineOfAnErrorToScripts)
{
    EXPECT_EQ(
        R"({"result":"error","command":"vidoe 1","problem":"there is no command \"vidoe\"; did you mean \"video\"?"}
)",
        run({"host", "--no-start", "--json"}, "vidoe 1\n").output);
}

TEST(HostCommand, ShowsItsCommandsAsATable)
{
    Ended const ended = run({"host", "--no-start"}, "help\n");
    EXPECT_THAT(ended.output,
                StartsWith("  start                    ZeloStartApp: returns when the configuration has come\n"
                           "  stop                     ZeloStopApp\n"
                           "  video X Y WIDTH HEIGHT   ZeloSetVideoWindow; 0 0 0 0 is the whole screen\n"));
    EXPECT_THAT(ended.output, EndsWith("  quit                     stops and ends; the end of the input does the same\n"
                                       "\"help COMMAND\" shows an example.\n"));
    std::istringstream lines(ended.output);
    for (std::string line; std::getline(lines, line);) {
        EXPECT_LE(line.size(), 80U) << line;
    }
}

TEST(HostCommand, ShowsMoreAboutOneCommand)
{
    Ended const ended = run({"host", "--no-start"}, "help video\nhelp env\nhelp vidoe\n");
    EXPECT_EQ(R"(video X Y WIDTH HEIGHT
  ZeloSetVideoWindow; 0 0 0 0 is the whole screen
  Example: video 0 0 640 360
env KEY
  ZeloGetEnv: storage to language, or a number
  KEY: storage, firmware, device, reserved, language
  Example: env language
error: there is no command "vidoe"; did you mean "video"?
)",
              ended.output);
    EXPECT_EQ("{\"result\":\"help\",\"video X Y WIDTH HEIGHT\":\"ZeloSetVideoWindow; 0 0 0 0 is the whole screen\"}\n",
              run({"host", "--no-start", "--json"}, "help video\n").output);
}

TEST(HostCommand, EndsOnQuitOnly)
{
    EXPECT_EQ("error: \"quit\" takes no argument, as in \"quit\"\n",
              run({"host", "--no-start"}, "quit it\nquit\nvolume\n").output);
}

TEST(HostCommand, HasTheDrmObjectRecordWhatItIsAskedFor)
{
    Ended const ended = run({"host", "--no-start", "--json"}, "l1\ndrm\ncdm 0x80000000\nl1\ndrm\n");
    EXPECT_TRUE(hasInOrder(ended.output, {"{\"result\":\"l1\",\"l1\":false}\n", "{\"result\":\"drm\",\"calls\":[]}\n",
                                          "{\"result\":\"cdm\",\"object\":true}\n",
                                          "{\"result\":\"drm\",\"calls\":[\"construct\",\"init "
                                          "cel=18446744071562067968\",\"bridge\",\"cdm\",\"isL1\"]}\n"}));
}

TEST(HostCommand, LogsUpToTheLevelThatIsWanted)
{
    std::string const lines = "log 1 quiet\nlog 3 100%s loud\n";
    Ended const all = run({"host", "--no-start"}, lines);
    EXPECT_TRUE(hasInOrder(
        all.errors, {" LINK  ZELO cobalt/ZeloCobalt:42: quiet\n", " FAIL  ZELO cobalt/ZeloCobalt:49: 100%s loud\n"}));
    EXPECT_THAT(all.errors, Not(HasSubstr("\033")));
    Ended const some = run({"host", "--no-start", "--log-level", "1"}, lines);
    EXPECT_THAT(some.errors, Not(HasSubstr("quiet")));
    EXPECT_THAT(some.errors, HasSubstr("loud"));
    EXPECT_EQ(2, run({"host", "--log-level", "6"}).status);
}

TEST(HostCommand, LogsNothingThatATerminalWouldActOn)
{
    Ended const ended = run({"host", "--no-start"}, "log 3 a\xC2\x9B"
                                                    "2J\x1B[b\xE2\x80\xAE"
                                                    "c\xE2\x81\xA6"
                                                    "d\xC3\xA9\n");
    EXPECT_THAT(ended.errors, HasSubstr("a??2J?[b???c???d\xC3\xA9\n"));
}

TEST(HostCommand, ColoursTheLogOnATerminal)
{
    Terminal const terminal;
    program::Words words = {"/bin/sh", "-c", "exec \"$@\" 2>" + terminal.slave, "sh"};
    for (std::string const& word : program::command({"host", "--no-start"})) {
        words.push_back(word);
    }
    program::Program host(words);
    host.write("log 3 loud\n");
    EXPECT_TRUE(host.waitForText("result log"));
    EXPECT_THAT(terminal.read(), HasSubstr("\033[1;31mFAIL \033[0m ZELO"));
    host.closeInput();
    EXPECT_EQ(0, host.wait().status);
}

TEST(HostCommand, SaysWhichLibraryItCannotLoad)
{
    Ended const ended = run({"host", "--lib", "/nowhere/libzelocobalt.so"});
    EXPECT_EQ(2, ended.status);
    EXPECT_TRUE(hasInOrder(ended.errors,
                           {"zelobox host: cannot load /nowhere/libzelocobalt.so", "say with --lib where it is\n"}));
    EXPECT_THAT(run({"host", "--stb", "/nowhere/libzelostb.so"}).errors, HasSubstr("say with --stb where it is\n"));
}

TEST(HostCommand, NamesAnEntryPointThatIsMissing)
{
    Ended const ended = run({"host", "--lib", ZELOBOX_INCOMPLETE_LIBRARY});
    EXPECT_EQ(2, ended.status);
    EXPECT_THAT(ended.errors, HasSubstr("lacks ZeloRequestPreviousController() (_Z29ZeloRequestPreviousControllerv)"));
}

TEST(HostCommand, TakesALibraryWithOldStrings)
{
    Ended const ended =
        run({"host", "--lib", ZELOBOX_OLD_LIBRARY, "--no-start", "--json"}, "env language\nenv device\nvolume\n");
    EXPECT_EQ(0, ended.status);
    EXPECT_EQ(
        "{\"result\":\"env\",\"key\":4,\"known\":true,\"value\":\"an old text, long enough to live on the heap\"}\n"
        "{\"result\":\"env\",\"key\":2,\"known\":false,\"value\":\"an old text, long enough to live on the heap\"}\n"
        "{\"result\":\"volume\",\"volume\":7,\"muted\":true}\n",
        ended.output);
}
