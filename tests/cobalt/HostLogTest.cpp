#include <gtest/gtest.h>
#include <stddef.h>

#include <string>

#include "cobalt/ZeloCobalt.h"
#include "testkit/HostStandIn.h"

namespace {

standin::LogLine onlyLine()
{
    std::vector<standin::LogLine> const lines = standin::logLines();
    EXPECT_EQ(1U, lines.size());
    return lines.empty() ? standin::LogLine() : lines[0];
}

void expectLine(int hostLevel, int level, int line)
{
    ZeloLog(hostLevel, "a line of the host");
    standin::LogLine const logged = onlyLine();
    EXPECT_EQ(level, logged.level);
    EXPECT_EQ(line, logged.line);
    EXPECT_EQ("a line of the host", logged.message);
}

} // namespace

TEST(HostLog, Level1IsTheLeastSevere)
{
    expectLine(1, 4, 42);
}

TEST(HostLog, Level2IsBadData)
{
    expectLine(2, 2, 45);
}

TEST(HostLog, Level3IsTheMostSevere)
{
    expectLine(3, 1, 49);
}

TEST(HostLog, Level4IsTheMostSevereToo)
{
    expectLine(4, 1, 49);
}

TEST(HostLog, IgnoresEveryOtherLevel)
{
    for (int const level : {0, 5, -1, 6, 100, 0x7FFFFFFF, -0x7FFFFFFF - 1, 0x101}) {
        ZeloLog(level, "lost");
    }
    EXPECT_TRUE(standin::logLines().empty());
}

TEST(HostLog, NeverInterpretsAPerCentSign)
{
    ZeloLog(3, "100 %s of %n %d and 50%");
    EXPECT_EQ("%s", onlyLine().format);
    EXPECT_EQ("100 %s of %n %d and 50%", onlyLine().message);
}

TEST(HostLog, PassesLongAndEmptyTextsOn)
{
    std::string const text(3000, 'x');
    ZeloLog(1, text.c_str());
    ZeloLog(1, "");
    std::vector<standin::LogLine> const lines = standin::logLines();
    ASSERT_EQ(2U, lines.size());
    EXPECT_EQ(text, lines[0].message);
    EXPECT_EQ("", lines[1].message);
}

TEST(HostLog, CarriesTheSourcePathWithoutAnEndingAndAnEmptyText)
{
    ZeloLog(2, "x");
    EXPECT_EQ("cobalt/ZeloCobalt", onlyLine().file);
    EXPECT_EQ("", onlyLine().text);
}

TEST(HostLog, CarriesTheContextRecordOfEveryLine)
{
    ZeloLog(2, "x");
    STBLogContext const context = onlyLine().context;
    EXPECT_STREQ("    ", context.indent);
    EXPECT_STREQ("ZELO", context.tag);
    EXPECT_STREQ("info", context.category);
    for (uint32_t const word : context.zero) {
        EXPECT_EQ(0U, word);
    }
    EXPECT_EQ(1, context.flags[0]);
    EXPECT_EQ(0, context.flags[1]);
    EXPECT_EQ(1, context.flags[2]);
    EXPECT_EQ(0, context.flags[3]);
}

TEST(HostLog, ContextRecordHasTheLoggersLayout)
{
    EXPECT_EQ(sizeof(void*), offsetof(STBLogContext, tag));
    EXPECT_EQ(2 * sizeof(void*), offsetof(STBLogContext, category));
    EXPECT_EQ(3 * sizeof(void*), offsetof(STBLogContext, zero));
    EXPECT_EQ(3 * sizeof(void*) + 16, offsetof(STBLogContext, flags));
    if (sizeof(void*) == 4) {
        EXPECT_EQ(32U, sizeof(STBLogContext));
    }
}
