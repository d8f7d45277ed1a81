#include <gtest/gtest.h>

#include <regex>

#include "tests/zelobox/Program.h"
#include "zelobox/protocol/TraceFile.h"

using program::Ended;

namespace {

/// One command for a shell.
std::string shellWords(program::Words const& words)
{
    std::string text;
    for (std::string const& word : words) {
        text += (text.empty() ? "" : " ") + word;
    }
    return text;
}

std::vector<std::string> sentIn(std::string const& timeline, std::string const& who)
{
    std::regex const line(who + " +[0-9]+ sends ([^\n]*)");
    std::vector<std::string> texts;
    for (std::sregex_iterator found(timeline.begin(), timeline.end(), line), end; found != end; ++found) {
        texts.push_back((*found)[1]);
    }
    return texts;
}

} // namespace

TEST(ThroughProxy, TheDemoIsTheSameAndIsRecordedAsItWasPlayed)
{
    program::Directory const directory;
    std::string const host = ZELOBOX_THROUGH_PROXY " " + directory.path("demo.jsonl") + " '" +
                             shellWords(program::command({"proxy"})) + "' " + shellWords(program::command({}));
    Ended const played = program::run({"demo", "--host-command", host});
    EXPECT_EQ(0, played.status) << played.errors;
    Ended const decoded = program::run({"decode", directory.path("demo.jsonl")});
    for (char const* const who : {"library", "middleware"}) {
        EXPECT_LT(5U, sentIn(played.output, who).size());
        EXPECT_EQ(sentIn(played.output, who), sentIn(decoded.output, who));
    }
}

TEST(ThroughProxy, WhatWasRecordedIsPlayedToAnotherLibrary)
{
    program::Directory const directory;
    std::string const trace = directory.path("demo.jsonl");
    std::string const words = shellWords(program::command({}));
    EXPECT_EQ(0, program::run(
                     {"demo", "--host-command", ZELOBOX_THROUGH_PROXY " " + trace + " '" + words + " proxy' " + words})
                     .status);
    program::Program replay(program::command({"replay", trace, "--fast", "--ignore", "host"}));
    ASSERT_TRUE(replay.waitForText("start the application"));
    program::Program host(program::command({"host"}));
    Ended const ended = replay.wait();
    EXPECT_EQ(0, ended.status) << ended.output << ended.errors;
    host.closeInput();
    EXPECT_EQ(0, host.wait().status);
}
