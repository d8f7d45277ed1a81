#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/zelobox/Program.h"
#include "zelobox/protocol/TraceFile.h"

using program::Ended;
using program::hasInOrder;
using program::run;
using testing::HasSubstr;

namespace {

char const start[] = R"({"scenario":"mine","about":"An example"}
{"call":"start"}
{"until":{"frame":"IPC_VIDEO_WINDOW_MODE"}}
{"ignore":{"result":"start"}}
)";
char const stop[] = R"({"call":"stop"}
{"expect":{"result":"stop"}}
{"expect":{"connection":"disconnected"}}
)";

/// Scenarios around a start and a stop.
class TestCommand : public testing::Test {
protected:
    std::string file(std::string const& steps, std::string const& name = "mine.jsonl") const
    {
        return directory.file(name, start + steps + stop);
    }

    static Ended test(program::Words words)
    {
        program::Words all = program::demo(words); // how a host is started is the same
        all[0] = "test";
        return run(all);
    }

    program::Directory directory;
};

} // namespace

TEST_F(TestCommand, PlaysAllAndCountsThem)
{
    Ended const ended = test({file(""), "film"});
    EXPECT_EQ(0, ended.status) << ended.output;
    EXPECT_TRUE(hasInOrder(ended.output, {"passed   mine  6 steps", "passed   film", "2 passed, 0 failed\n"}));
}

TEST_F(TestCommand, GoesOnBehindAFailureAndSaysWhatWasWrong)
{
    std::string const wrong = file(R"({"expect":{"frame":"IPC_MUTE"},"within":100})"
                                   "\n",
                                   "wrong.jsonl");
    Ended const ended = test({wrong, file("")});
    EXPECT_EQ(3, ended.status) << "all that failed did so because nothing came";
    EXPECT_TRUE(hasInOrder(ended.output, {"FAILED   mine", "wrong.jsonl line 5: expect", "actual:   nothing within 100",
                                          "passed   mine", "1 passed, 1 failed\n"}));
    std::string const other = file(R"({"call":"volume"})"
                                   "\n"
                                   R"({"expect":{"result":"language"}})"
                                   "\n",
                                   "other.jsonl");
    EXPECT_EQ(1, test({wrong, other}).status);
}

TEST_F(TestCommand, PlaysNothingWhenOneCannotBeRead)
{
    Ended const ended = test({file(""), "/nowhere/scenario"});
    EXPECT_EQ(2, ended.status);
    EXPECT_EQ("", ended.output);
    EXPECT_THAT(ended.errors, HasSubstr("zelobox test: /nowhere/scenario: cannot be read"));
}

TEST_F(TestCommand, ListsInsteadOfPlaying)
{
    EXPECT_EQ("mine               An example\n", test({"--list", file("")}).output);
    EXPECT_THAT(test({"--list", "--json", "film"}).output, HasSubstr(R"("scenario":"film")"));
}

TEST_F(TestCommand, ReportsForMachines)
{
    std::string const wrong = file(R"({"expect":{"frame":"IPC_MUTE"},"within":100})"
                                   "\n",
                                   "wrong.jsonl");
    std::string const junit = directory.path("report.xml");
    Ended const ended = test({wrong, file(""), "--json", "--junit", junit});
    EXPECT_TRUE(hasInOrder(ended.output, {R"("verdict":"failed")", R"("timedOut":true)", R"("verdict":"passed")",
                                          R"({"passed":1,"failed":1})"}));
    std::string const report = zelobox::contentsOf(junit);
    EXPECT_TRUE(hasInOrder(report, {R"(<testsuite name="zelobox test" tests="2" failures="1")", R"(<testcase)",
                                    "wrong.jsonl line 5", "sends IPC_ALLOWED_MESSAGE_LIST", "<testcase"}))
        << report;
}

TEST_F(TestCommand, KeepsTheTrafficOfAFailureOnly)
{
    std::string const traces = directory.path("traces");
    EXPECT_EQ(0, test({file(""), "--trace", traces}).status);
    EXPECT_FALSE(program::exists(traces + "/mine.jsonl"));
    Ended const ended = test({file(R"({"quiet":0})"
                                   "\n"
                                   R"({"expect":{"frame":"IPC_MUTE"},"within":1})"
                                   "\n"),
                              "--trace", traces});
    EXPECT_THAT(ended.output, HasSubstr("the traffic is in " + traces + "/mine.jsonl\n"));
    EXPECT_THAT(zelobox::contentsOf(traces + "/mine.jsonl"), HasSubstr("IPC_ALLOWED_MESSAGE_LIST"));
}

TEST_F(TestCommand, PassesOverWhatComesBefore)
{
    std::string const until = R"({"call":"video 0 0 640 360"}
{"until":{"frame":"IPC_VIDEO_WINDOW_MODE"}}
{"expect":{"result":"video"}}
)";
    EXPECT_EQ(0, test({file(until)}).status);
    Ended const never = test({file(R"({"call":"video 0 0 640 360"})"
                                   "\n"
                                   R"({"until":{"frame":"IPC_MUTE"},"within":300})"
                                   "\n")});
    EXPECT_EQ(3, never.status);
    EXPECT_TRUE(hasInOrder(never.output, {"until {\"frame\":\"IPC_MUTE\"}",
                                          "nothing within 300 ms; 2 others, the last one", "IPC_VIDEO_WINDOW_MODE"}));
}

TEST_F(TestCommand, LeavesNoiseOut)
{
    std::string const noise = R"({"ignore":{"frame":"IPC_VIDEO_WINDOW","width":640}}
{"ignore":{"frame":"IPC_VIDEO_WINDOW_MODE"}}
{"ignore":{"result":"video"}}
{"call":"video 0 0 640 360"}
{"call":"previous"}
{"expect":{"frame":"IPC_PREVIOUS_CONTROLLER"}}
{"ignore":{"result":"previous"}}
)";
    EXPECT_EQ(0, test({file(noise)}).status);
    std::string other = noise;
    other.replace(other.find("640 360"), 3, "320");
    EXPECT_THAT(test({file(other)}).output,
                HasSubstr(R"(actual:   {"frame":"IPC_VIDEO_WINDOW","x":0,"y":0,"width":320)"));
}

TEST_F(TestCommand, SaysWhenWhatWasExpectedCameElse)
{
    std::string const earlier = R"({"call":"previous"}
{"expect":{"frame":"IPC_PREVIOUS_CONTROLLER"}}
{"expect":{"result":"previous"}}
{"wait":50}
{"expect":{"frame":"IPC_PREVIOUS_CONTROLLER"},"within":10}
)";
    EXPECT_THAT(test({file(earlier)}).output,
                testing::ContainsRegex("but:      it came [0-9]+ ms earlier, before step [67] \\(line [78]\\), and was "
                                       "taken for line 6"));
    std::string const later = R"({"call":"video 0 0 640 360"}
{"expect":{"frame":"IPC_VIDEO_WINDOW_MODE"}}
)";
    EXPECT_THAT(test({file(later)}).output,
                testing::ContainsRegex("but:      it came [0-9]+ ms (earlier|later), behind something else"));
}

TEST(RecordCommand, MakesAScenarioThatPasses)
{
    program::Directory const directory;
    std::string const trace = directory.path("film.pcapng");
    Ended const played = run(program::demo({"film", "--trace", trace}));
    ASSERT_EQ(0, played.status) << played.errors;
    std::string const scenario = directory.path("film.scenario");
    Ended const recorded = run({"record", trace, "-o", scenario});
    EXPECT_EQ(0, recorded.status) << recorded.errors;
    program::Words words = program::demo({scenario});
    words[0] = "test";
    Ended const tested = run(words);
    EXPECT_EQ(0, tested.status) << tested.output << zelobox::contentsOf(scenario);
    std::string const text = zelobox::contentsOf(scenario);
    EXPECT_TRUE(hasInOrder(text, {R"("scenario":"film")", R"({"ignore":{"frame":"IPC_VIDEO_WINDOW"}})",
                                  R"({"call":"start"})", R"("frame":"IPC_CONFIG_REQUEST")",
                                  R"({"send":{"frame":"IPC_BROWSER_CONFIG"}})", "# the library sent IPC_VIDEO_WINDOW",
                                  R"("frame":"IPC_VOLUME","value":31)", R"("callback":"key")", R"("name":"Return")"}))
        << text;
}

TEST(RecordCommand, NoticesABrokenPromiseOfTheLibrary)
{
    program::Directory const directory;
    std::string const trace = directory.path("film.jsonl");
    ASSERT_EQ(0, run(program::demo({"film", "--trace", trace})).status);
    std::string text = run({"record", trace}).output;
    size_t const at = text.find(R"("name":"Return")");
    ASSERT_NE(std::string::npos, at);
    text.replace(at, 15, R"("name":"Escape")");
    program::Words words = program::demo({directory.file("broken", text)});
    words[0] = "test";
    Ended const ended = run(words);
    EXPECT_EQ(1, ended.status);
    EXPECT_THAT(ended.output, HasSubstr(R"("name":"Return")"));
}

TEST(RecordCommand, OverwritesOnlyWhenForcedAndNeedsAClient)
{
    program::Directory const directory;
    std::string const request = R"({"time":1,"connection":1,"direction":"toMiddleware","hex":"6d00001700000000"})"
                                "\n";
    std::string const trace = directory.file("trace", request);
    std::string const scenario = directory.file("scenario", "precious");
    EXPECT_EQ(2, run({"record", trace, "-o", scenario}).status);
    EXPECT_EQ("precious", zelobox::contentsOf(scenario));
    EXPECT_EQ(0, run({"record", trace, "-o", scenario, "--force"}).status);
    EXPECT_THAT(zelobox::contentsOf(scenario), HasSubstr(R"("scenario":"trace")"));
    EXPECT_THAT(run({"record", directory.file("empty", "")}).errors, HasSubstr("no client asks for a configuration"));
}
