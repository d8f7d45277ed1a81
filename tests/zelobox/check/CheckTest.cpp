#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <fstream>
#include <sstream>

#include "tests/zelobox/Program.h"
#include "zelobox/check/Case.h"

using program::Ended;
using program::hasInOrder;
using program::run;
using testing::HasSubstr;

namespace {

program::Words withHost(program::Words words)
{
    program::Words const demo = program::demo(); // knows how a host is started
    words.insert(words.begin(), "check");
    words.insert(words.end(), demo.begin() + 1, demo.end());
    return words;
}

size_t countOf(std::string const& text, std::string const& part)
{
    size_t count = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        ++count;
    }
    return count;
}

std::string contentsOf(std::string const& path)
{
    std::ifstream const file(path);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

/// A middleware where the library looks for it, and somebody who presses a key when asked to.
class Checked {
public:
    explicit Checked(program::Words more = {})
    {
        more.insert(more.begin(), {"middleware", "--quiet", "--input"});
        middleware = std::make_unique<program::Program>(program::command(more));
        EXPECT_TRUE(middleware->waitForText("listens on "));
    }
    ~Checked()
    {
        middleware->signal(SIGTERM);
        middleware->wait();
    }

    Ended by(program::Words const& words)
    {
        program::Program check(program::command(withHost(words)));
        // Whoever sends something by itself is not asked for messages.
        for (char const* const what : {"please   for ", "please   for allowed-list"}) {
            if (check.waitForText(what)) {
                middleware->write("{\"send\":{\"frame\":\"IPC_REMOTE_KEY\",\"command\":44}}\n");
            }
        }
        return check.wait();
    }

private:
    std::unique_ptr<program::Program> middleware;
};

struct Failing {
    char const* faultMode;
    char const* id;
    int status;
};

Failing const failures[] = {
    {"silent", "configuration", 3},
    {"garbage", "framing", 1},
    {"lie", "framing", 1},
    {"cut-config", "payload", 1},
    {"wrong-kind", "kind", 1},
    {"lie-inside", "messages", 1},
    {"answer-once", "second-request", 3},
    {"refuse-repeated-list", "repeated-list", 1},
    {"refuse-unknown", "unknown-type", 1},
    {"refuse-split", "single-bytes", 1},
    {"single-client", "two-clients", 1},
    {"ignore-allowed-list", "allowed-list", 1},
    {"die-on-vanish", "vanishing-client", 1},
    {"die-on-garbage", "garbage", 1},
    {"die-on-lie", "lying-length", 1},
    {"block-on-write", "slow-reader", 3},
    {"tire", "reconnects", 1},
    {"no-display", "library-start", 1},
    {"cut-second-config", "frames", 1},
    {"swap-sizes", "plausible", 1},
};

/// For the name of the test.
void PrintTo(Failing const& failing, std::ostream* stream)
{
    *stream << failing.faultMode;
}

class CheckFinds : public testing::TestWithParam<Failing> {};

std::string nameOf(testing::TestParamInfo<Failing> const& info)
{
    std::string name = info.param.faultMode;
    std::replace(name.begin(), name.end(), '-', '_');
    return name;
}

} // namespace

TEST_P(CheckFinds, ExactlyTheCaseThatIsNotPassed)
{
    Checked checked({"--fault", GetParam().faultMode});
    Ended const ended = checked.by({"--timeout", "3", "--wait", "60", "--strict"});
    EXPECT_EQ(GetParam().status, ended.status);
    EXPECT_THAT(ended.output, HasSubstr("FAILED   " + std::string(GetParam().id) + " ")) << ended.errors;
    EXPECT_EQ(1U, countOf(ended.output, "FAILED")) << ended.output;
    EXPECT_THAT(ended.output, HasSubstr(" passed, 1 failed, "));
}

INSTANTIATE_TEST_SUITE_P(Middlewares, CheckFinds, testing::ValuesIn(failures), nameOf);

TEST(Check, HasSeenEveryCaseFail)
{
    std::set<std::string> seen;
    for (Failing const& failing : failures) {
        seen.insert(failing.id);
    }
    for (zelobox::CheckCase const& known : zelobox::checkCases()) {
        EXPECT_EQ(1U, seen.count(known.id)) << known.id;
    }
}

TEST(Check, PassesTheMiddlewareOfZelobox)
{
    Ended const ended = Checked().by({"--wait", "60", "--timeout", "30"});
    EXPECT_EQ(0, ended.status) << ended.output << ended.errors;
    std::string const all = std::to_string(zelobox::checkCases().size());
    EXPECT_THAT(ended.output, testing::EndsWith("\n" + all + " passed, 0 failed, 0 skipped\n"));
}

TEST(Check, CountsWhatItCannotJudgeAsSkipped)
{
    Ended const ended = Checked().by({"--case", "configuration"});
    EXPECT_TRUE(
        hasInOrder(ended.output, {"passed   configuration     a configuration request is answered",
                                  "\npassed   frames ", "\npassed   plausible ", "\n3 passed, 0 failed, 0 skipped\n"}));
    Checked const unattended;
    Ended const skipped = run({"check", "--case", "messages", "--wait", "0"});
    EXPECT_EQ(0, skipped.status);
    EXPECT_TRUE(hasInOrder(skipped.output, {"passed   framing", "skipped  messages", ": nothing was sent\n",
                                            "4 passed, 0 failed, 1 skipped\n"}));
}

TEST(Check, WritesItsVerdictsAsJunit)
{
    program::Directory const directory;
    std::string const file = directory.path("check.xml");
    Checked const checked({"--fault", "cut-config"});
    Ended const ended = run({"check", "--wait", "0", "--case", "library-start", "--case", "messages", "--junit", file});
    EXPECT_EQ(1, ended.status);
    program::Program parser({"xmllint", "--xpath",
                             "concat(/testsuite/@tests, ' ', /testsuite/@failures, ' ', /testsuite/@skipped, ' ', "
                             "count(//failure), ' ', count(//skipped), ' ', //testcase[skipped][last()]/@name, ' ', "
                             "//testcase[skipped][last()]/skipped/@message)",
                             file});
    Ended const parsed = parser.wait();
    EXPECT_EQ("8 1 2 1 2 library-start needs payload\n", parsed.output) << parsed.errors << contentsOf(file);
    EXPECT_EQ(2, run({"check", "--case", "configuration", "--junit", "/nowhere/check.xml"}).status);
}

TEST(Check, KeepsItsTrafficInATrace)
{
    program::Directory const directory;
    std::string const file = directory.path("check.pcapng");
    Checked const checked;
    EXPECT_EQ(0, run({"check", "--wait", "0", "--case", "garbage", "--trace", file}).status);
    Ended const decoded = run({"decode", file});
    EXPECT_EQ(0, decoded.status) << decoded.errors;
    EXPECT_TRUE(hasInOrder(decoded.output,
                           {"connection 1 connected", "IPC_ALLOWED_MESSAGE_LIST", "IPC_CONFIG_REQUEST",
                            "sends IPC_BROWSER_CONFIG", "disconnected: closed by the client", "raw bytes 7878"}));
    EXPECT_EQ(2, run({"check", "--trace", "/nowhere/check.jsonl"}).status);
}

TEST(CheckUse, ListsItsCases)
{
    Ended const ended = run({"check", "--list"});
    EXPECT_EQ(0, ended.status);
    EXPECT_EQ(zelobox::checkCases().size(), countOf(ended.output, "\n"));
    EXPECT_TRUE(hasInOrder(ended.output, {"configuration     a configuration request", "\nlibrary-start "}));
    Ended const json = run({"check", "--list", "--json"});
    EXPECT_TRUE(hasInOrder(json.output,
                           {"{\"case\":\"configuration\",", "\"rules\":[1,2]}\n", "\"needs\":[\"configuration\"]"}));
}

TEST(CheckUse, NamesTheCasesForOneThatItDoesNotKnow)
{
    Ended const ended = run({"check", "--case", "politeness"});
    EXPECT_EQ(2, ended.status);
    EXPECT_THAT(ended.errors, HasSubstr("\"politeness\" is none of: configuration, framing, "));
}

TEST(CheckUse, SaysThatNobodyListens)
{
    Ended const ended = run({"check", "--socket", "/nowhere/messenger"});
    EXPECT_EQ(2, ended.status);
    EXPECT_EQ("zelobox check: nobody listens on /nowhere/messenger: No such file or directory; start the middleware "
              "first, or "
              "say where with --socket\n",
              ended.errors);
}

TEST(CheckUse, LeavesTheLibraryOutWhereItDoesNotLook)
{
    program::Directory const directory;
    program::Program middleware(program::command({"middleware", "--quiet", "--socket", directory.path("messenger")}));
    ASSERT_TRUE(middleware.waitForText("listens on "));
    Ended const ended = run({"check", "--case", "library-start", "--socket", directory.path("messenger")});
    EXPECT_EQ(0, ended.status);
    EXPECT_THAT(ended.output, HasSubstr("stops: the library knows only /tmp/zelo_messenger\n"));
    middleware.signal(SIGINT);
    EXPECT_EQ(0, middleware.wait().status);
}
