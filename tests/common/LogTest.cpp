// What every call of the box's logger carries.
#include <gtest/gtest.h>
#include <stddef.h>
#include <string.h>

#include "cobalt/CobaltManager.h"
#include "src/common/AutoRetrier.h"
#include "src/common/Log.h"
#include "src/common/STBThread.h"
#include "testkit/HostStandIn.h"

namespace {

class Thread : public STBThread {
    void run() override {}
};

void expectCallConvention(standin::LogLine const& line)
{
    EXPECT_STREQ("    ", line.context.indent);
    EXPECT_STREQ("ZELO", line.context.tag);
    EXPECT_STREQ("info", line.context.category);
    char const rest[20] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 0, 1, 0};
    char const* const context = reinterpret_cast<char const*>(&line.context);
    EXPECT_EQ(0, memcmp(rest, context + 3 * sizeof(char*), sizeof rest));
    EXPECT_EQ("", line.text);
}

} // namespace

static_assert(sizeof(void*) != 4 || sizeof(STBLogContext) == 32, "the record of the 32-bit box");
static_assert(offsetof(STBLogContext, zero) == 3 * sizeof(char*) &&
                  offsetof(STBLogContext, flags) == 3 * sizeof(char*) + 16,
              "the record is the logger's");

TEST(LogCall, CarriesTheSameContextFromEverywhere)
{
    standin::clearLog();
    ZeloLog(1, "from the host");
    CobaltManager::_config.parse({});
    AutoRetrier("subject").succeeded();
    Thread().stop();
    std::vector<standin::LogLine> const lines = standin::logLines();
    ASSERT_EQ(4U, lines.size());
    for (standin::LogLine const& line : lines) {
        SCOPED_TRACE(line.file + ": " + line.message);
        expectCallConvention(line);
    }
}

TEST(LogCall, PassesLevelLineFileAndFormatOn)
{
    standin::clearLog();
    ZELO_LOG(LogNotable, 4711, "some/file", "%s and %d", "text", 5);
    std::vector<standin::LogLine> const lines = standin::logLines();
    ASSERT_EQ(1U, lines.size());
    expectCallConvention(lines[0]);
    EXPECT_EQ(3, lines[0].level);
    EXPECT_EQ(4711, lines[0].line);
    EXPECT_EQ("some/file", lines[0].file);
    EXPECT_EQ("%s and %d", lines[0].format);
    EXPECT_EQ("text and 5", lines[0].message);
}
