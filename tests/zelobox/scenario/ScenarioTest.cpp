#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "zelobox/middleware/FaultModes.h"
#include "zelobox/protocol/MessageTable.h"
#include "zelobox/scenario/Scenario.h"

using namespace zelobox;
using testing::Contains;
using testing::HasSubstr;

namespace {

Scenario read(std::string const& text)
{
    std::istringstream stream(text);
    return readScenario(stream, "test.jsonl");
}

std::string errorOf(std::string const& text)
{
    try {
        read(text);
    } catch (InputError const& error) {
        return error.what();
    }
    return "no error";
}

/// @return the error of a step on the second line
std::string stepError(std::string const& step)
{
    return errorOf("{\"scenario\":\"s\"}\n" + step);
}

} // namespace

TEST(Scenario, ReadsItsHead)
{
    Scenario const scenario =
        read(R"({"scenario":"s","about":"a","answering":false,"limit":7,"config":{"language":"fr"}})");
    EXPECT_EQ("s", scenario.name);
    EXPECT_EQ("a", scenario.about);
    EXPECT_FALSE(scenario.answering);
    EXPECT_EQ(7U, scenario.limitMs);
    EXPECT_EQ("fr", scenario.config.language);
    EXPECT_TRUE(scenario.steps.empty());
}

TEST(Scenario, ReadsEveryKindOfStep)
{
    std::vector<Step> const steps = read(R"(# a comment
{"scenario":"s"}

{"say":"text"}
{"call":"video 1 2 3 4"}
{"send":{"frame":"IPC_MUTE","value":1},"unsubscribed":true}
{"expect":{"callback":"key"},"within":9}
{"until":{"result":"volume"},"within":8}
{"ignore":{"frame":"IPC_MUTE","value":0}}
{"quiet":10}
{"wait":11}
{"fault":"drop"}
)")
                                        .steps;
    ASSERT_EQ(9U, steps.size());
    EXPECT_EQ(4U, steps[0].line);
    EXPECT_EQ("text", steps[0].text);
    EXPECT_EQ("video 1 2 3 4", steps[1].text);
    EXPECT_TRUE(steps[2].everyone);
    EXPECT_EQ("IPC_MUTE", steps[2].body["frame"]);
    EXPECT_EQ("key", steps[3].body["callback"]);
    EXPECT_EQ(9U, steps[3].ms);
    EXPECT_EQ("volume", steps[4].body["result"]);
    EXPECT_EQ(8U, steps[4].ms);
    EXPECT_EQ("IPC_MUTE", steps[5].body["frame"]);
    EXPECT_EQ(10U, steps[6].ms);
    EXPECT_EQ(11U, steps[7].ms);
    EXPECT_EQ("drop", steps[8].text);
    EXPECT_EQ(12U, steps[8].line);
}

TEST(Scenario, NamesLineAndFieldThatAreWrong)
{
    EXPECT_EQ("test.jsonl line 2: field \"cal\": is unknown here; known are: call, expect, fault, ignore, quiet, "
              "say, send, until, wait",
              stepError(R"({"cal":"video","wait":1})").replace(0, 0, ""));
    EXPECT_THAT(stepError("{}"), HasSubstr("test.jsonl line 2: expected exactly one of these fields: say, call, "));
    EXPECT_THAT(stepError(R"({"call":"a","wait":1})"), HasSubstr("line 2: expected exactly one of these fields"));
    EXPECT_THAT(stepError("{"), HasSubstr("test.jsonl line 2: "));
    EXPECT_THAT(stepError("[1]"), HasSubstr("line 2: expected an object in braces, found [1]"));
    EXPECT_THAT(stepError(R"({"wait":-1})"), HasSubstr("line 2: field \"wait\": expected a whole number"));
    EXPECT_THAT(stepError(R"({"say":1})"), HasSubstr("line 2: field \"say\": expected a text"));
    EXPECT_THAT(stepError(R"({"fault":"nicely"})"), HasSubstr("line 2: field \"fault\": expected one of none, drop, "));
    EXPECT_THAT(stepError(R"({"send":{"frame":"IPC_NO"}})"),
                HasSubstr("line 2: \"send\": field \"frame\": \"IPC_NO\" is no message"));
    EXPECT_THAT(stepError(R"({"send":{"frame":"IPC_MUTE"}})"),
                HasSubstr("line 2: \"send\": field \"value\": is missing"));
    EXPECT_THAT(stepError(R"({"expect":{}})"),
                HasSubstr("line 2: field \"expect\": expected exactly one of \"frame\""));
    EXPECT_THAT(stepError(R"({"expect":{"frame":"IPC_MUT"}})"),
                HasSubstr("\"expect\": field \"frame\": \"IPC_MUT\" is no message"));
    EXPECT_THAT(stepError(R"({"expect":{"callback":"key"},"in":9})"),
                HasSubstr("line 2: field \"in\": is unknown here"));
    EXPECT_THAT(errorOf(R"({"scenario":"s","limt":1})"), HasSubstr("line 1: field \"limt\": is unknown"));
    EXPECT_THAT(errorOf(R"({"scenario":"s","config":{"auxValue":256}})"),
                HasSubstr("line 1: \"config\": field \"auxValue\""));
    EXPECT_THAT(errorOf(R"({"say":"first"})"), HasSubstr("line 1: field \"scenario\": is missing"));
    EXPECT_THAT(errorOf("\n"), HasSubstr("test.jsonl: is empty"));
}

TEST(Scenario, RefusesWhatItsSchemaRefuses)
{
    std::ifstream file(ZELO_BAD_LINES);
    size_t count = 0;
    for (std::string line; std::getline(file, line); ++count) {
        bool const isHead = line.find("\"scenario\"") != std::string::npos;
        EXPECT_THAT(isHead ? errorOf(line) : stepError(line),
                    testing::StartsWith(isHead ? "test.jsonl line 1: " : "test.jsonl line 2: "))
            << line;
    }
    EXPECT_LT(50U, count);
}

TEST(Scenario, HasASchemaWithTheNamesOfItsTables)
{
    std::ifstream file(ZELO_DOCS_DIR "/scenario.schema.json");
    Json const definitions = Json::parse(file)["definitions"];
    std::vector<std::string> messages;
    for (MessageInfo const& info : messageTable()) {
        messages.emplace_back(info.name);
    }
    std::vector<std::string> faultModes;
    for (FaultModeInfo const& info : faultModeTable()) {
        faultModes.emplace_back(info.name);
    }
    EXPECT_EQ(messages, definitions["messageName"]["enum"]);
    EXPECT_EQ(faultModes, definitions["fault"]["properties"]["fault"]["enum"]);
}

TEST(Scenario, ComesAlongWithTheProgram)
{
    EXPECT_THAT(scenarioNames(), Contains("demo"));
    for (std::string const& name : scenarioNames()) {
        Scenario const scenario = loadScenario(name);
        EXPECT_EQ(name, scenario.name);
        EXPECT_NE("", scenario.about);
        EXPECT_FALSE(scenario.steps.empty());
    }
}
