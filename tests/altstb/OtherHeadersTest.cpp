// The library built against headers with other members: what depends on them is the log call, the back-off's clock, the
// identity and the DRM object.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "cobalt/ZeloCobalt.h"
#include "src/common/AutoRetrier.h"
#include "testkit/HostStandIn.h"
#include "testkit/Middleware.h"

using testing::ElementsAre;

TEST(OtherHeaders, GetsTheLogLines)
{
    ZeloLog(2, "100%s");
    std::vector<standin::LogLine> const lines = standin::logLines("100%s");
    ASSERT_EQ(1U, lines.size());
    EXPECT_STREQ("ZELO", lines[0].context.component);
    EXPECT_EQ(2, lines[0].level);
    EXPECT_EQ("cobalt/ZeloCobalt", lines[0].file);
}

TEST(OtherHeaders, TellsItsIdentity)
{
    std::string value;
    EXPECT_TRUE(ZeloGetEnv(ZeloEnvDeviceId, value));
    EXPECT_EQ(standin::deviceId, value);
}

TEST(OtherHeaders, GivesItsDecryptionModule)
{
    EXPECT_FALSE(ZeloCdmIsL1());
    EXPECT_EQ(standin::cdmObject(), ZeloCdm(reinterpret_cast<void*>(0x10)));
    EXPECT_EQ(standin::cdmObject(), ZeloCdm(reinterpret_cast<void*>(0x11)));
    EXPECT_TRUE(ZeloCdmIsL1());
    EXPECT_THAT(standin::drmCalls(), ElementsAre("open cel=16", "module", "reopen cel=17", "module"));
}

TEST(OtherHeaders, TimesTheBackOff)
{
    standin::setVirtualTime(1000000);
    AutoRetrier retrier("subject");
    EXPECT_TRUE(retrier.isDue());
    retrier.failed();
    EXPECT_TRUE(standin::waitForLog("subject - failed (total 1 times), wait 1.00 sec"));
    EXPECT_FALSE(retrier.isDue());
    standin::advanceVirtualTime(2000000);
    EXPECT_TRUE(retrier.isDue());
    retrier.succeeded();
    EXPECT_TRUE(retrier.isDue());
}

TEST(OtherHeaders, StartsAndStops)
{
    Middleware middleware;
    middleware.serveStart([] { ZeloStartApp({}); });
    ZeloStopApp();
    EXPECT_TRUE(standin::waitForLog("Started....."));
    EXPECT_TRUE(standin::waitForLog("Closing connection"));
}
