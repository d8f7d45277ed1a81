#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include "tests/zelobox/Program.h"

using program::Ended;
using testing::HasSubstr;

namespace {

char const trace[] = R"({"time":1,"connection":1,"event":"connected"}
{"time":2,"connection":1,"direction":"toHost","kind":1,"type":39,"hex":"6d010027000000040000001e"}
)";

} // namespace

TEST(ServeFile, ShowsWhatIsInTheFileUntilCtrlC)
{
    program::Directory const directory;
    std::string const file = directory.file("trace.jsonl", trace);
    program::Program serve(program::command({"serve", "--port", "0", "--file", file}));
    EXPECT_TRUE(serve.waitForText("shows the 2 records of " + file));
    EXPECT_TRUE(serve.waitForText("has its page at http://127.0.0.1:"));
    serve.signal(SIGINT);
    EXPECT_EQ(0, serve.wait().status);
}

TEST(ServeFile, SaysWhatIsWrongWithTheFile)
{
    program::Directory const directory;
    Ended const broken = program::run({"serve", "--file", directory.file("trace.jsonl", trace + std::string("{}\n"))});
    EXPECT_EQ(2, broken.status);
    EXPECT_THAT(broken.errors, HasSubstr("trace.jsonl line 3"));
    EXPECT_EQ(2, program::run({"serve", "--file", "/nowhere/trace.jsonl"}).status);
}

TEST(ServeFile, GoesWithNoMiddleware)
{
    program::Directory const directory;
    Ended const ended = program::run({"serve", "--host", "--file", directory.file("trace.jsonl", trace)});
    EXPECT_EQ(2, ended.status);
    EXPECT_THAT(ended.errors, HasSubstr("excludes"));
}
