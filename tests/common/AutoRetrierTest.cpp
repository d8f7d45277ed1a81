// The back-off over its whole ramp, with a clock that the tests move.
#include "src/common/AutoRetrier.h"

#include <gtest/gtest.h>
#include <math.h>

#include "testkit/HostStandIn.h"

namespace {

/// The documented wait after so many failures: 1 s, half a sine wave over 50 failures, 100 s.
unsigned waitAfter(unsigned failures)
{
    if (failures <= 1) {
        return failures * 1000;
    }
    if (failures >= 50) {
        return 100000;
    }
    double const x = (failures - 1) * 3.1415926 / 49 - 1.570796;
    return static_cast<unsigned>(1000 + 99000 * (sin(x) + 1) * 0.5);
}

std::string failureText(std::string const& subject, unsigned failures)
{
    char text[200];
    snprintf(text, sizeof text, "%s - failed (total %u times), wait %.2f sec before next retry", subject.c_str(),
             failures, static_cast<double>(static_cast<float>(waitAfter(failures)) / 1000.0F));
    return text;
}

void expectLogged(int level, std::string const& message)
{
    std::vector<standin::LogLine> const lines = standin::logLines();
    ASSERT_EQ(1U, lines.size());
    EXPECT_EQ(level, lines[0].level);
    EXPECT_EQ("src/common/AutoRetrier", lines[0].file);
    EXPECT_LT(0, lines[0].line);
    EXPECT_EQ(message, lines[0].message);
    standin::clearLog();
}

void expectDueAfter(AutoRetrier const& retrier, unsigned waitMs)
{
    EXPECT_EQ(waitMs, retrier.waitMs());
    EXPECT_FALSE(retrier.isDue());
    standin::advanceVirtualTime(waitMs * 1000LL - 1);
    EXPECT_FALSE(retrier.isDue()) << "a microsecond before the end of " << waitMs << " ms";
    standin::advanceVirtualTime(1);
    EXPECT_TRUE(retrier.isDue()) << "at the end of " << waitMs << " ms";
}

} // namespace

TEST(BackOff, LetsTheFirstAttemptBeMadeAtOnce)
{
    for (long long const start : {0LL, 1LL, 1000000000000LL}) {
        standin::setVirtualTime(start);
        AutoRetrier const retrier("ipc_connection");
        EXPECT_TRUE(retrier.isDue()) << start;
        EXPECT_EQ(0U, retrier.waitMs());
    }
}

TEST(BackOff, ClimbsOverFiftyFailures)
{
    standin::setVirtualTime(5000000000);
    standin::clearLog();
    AutoRetrier retrier("ipc_connection");
    for (unsigned failures = 1; failures <= 60; ++failures) {
        SCOPED_TRACE(testing::Message() << failures << " failures");
        retrier.failed();
        expectLogged(2, failureText("ipc_connection", failures));
        expectDueAfter(retrier, waitAfter(failures));
    }
}

TEST(BackOff, HasTheWaitsThatPeersKnow)
{
    AutoRetrier retrier("ipc_connection");
    char const* const known[] = {"wait 1.00 sec", "wait 1.10 sec", "wait 1.41 sec"};
    for (char const* const text : known) {
        standin::clearLog();
        retrier.failed();
        EXPECT_EQ(1U, standin::logLines(text).size()) << standin::logLines()[0].message;
    }
    for (unsigned failures = 4; failures <= 50; ++failures) {
        standin::clearLog();
        retrier.failed();
    }
    EXPECT_EQ(1U, standin::logLines("(total 50 times), wait 100.00 sec").size());
}

TEST(BackOff, NamesItsSubject)
{
    standin::clearLog();
    AutoRetrier retrier("100% of it");
    retrier.failed();
    expectLogged(2, failureText("100% of it", 1));
    retrier.succeeded();
    expectLogged(4, "100% of it - ok");
}

TEST(BackOff, BeginsAgainAfterASuccess)
{
    standin::setVirtualTime(7000000);
    AutoRetrier retrier("ipc_connection");
    for (int i = 0; i < 30; ++i) {
        retrier.failed();
    }
    standin::clearLog();
    retrier.succeeded();
    expectLogged(4, "ipc_connection - ok");
    EXPECT_TRUE(retrier.isDue());
    EXPECT_EQ(0U, retrier.waitMs());
    retrier.failed();
    expectLogged(2, failureText("ipc_connection", 1));
    expectDueAfter(retrier, 1000);
}

TEST(BackOff, IsMeasuredFromTheLastAttempt)
{
    standin::setVirtualTime(0);
    AutoRetrier retrier("ipc_connection");
    retrier.failed();
    standin::advanceVirtualTime(5000000);
    retrier.failed();
    expectDueAfter(retrier, 1101);
}
