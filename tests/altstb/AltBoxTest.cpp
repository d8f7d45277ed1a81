// The library built against another box's headers: what depends on them is the log call, the back-off's clock, the
// identity and the DRM object.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <thread>

#include "Box.h"
#include "cobalt/ZeloCobalt.h"
#include "src/common/AutoRetrier.h"
#include "zelobox/protocol/Peer.h"

using testing::ElementsAre;

TEST(AltBox, GetsTheLogLines)
{
    ZeloLog(2, "100%s");
    EXPECT_TRUE(box::waitForLine("ZELO 2 cobalt/ZeloCobalt: 100%s"));
}

TEST(AltBox, TellsItsIdentity)
{
    std::string value;
    EXPECT_TRUE(ZeloGetEnv(ZeloEnvDeviceId, value));
    EXPECT_EQ("another-box", value);
}

TEST(AltBox, GivesItsDecryptionModule)
{
    EXPECT_FALSE(ZeloCdmIsL1());
    EXPECT_EQ(box::decryptionModule(), ZeloCdm(reinterpret_cast<void*>(0x10)));
    EXPECT_EQ(box::decryptionModule(), ZeloCdm(reinterpret_cast<void*>(0x11)));
    EXPECT_TRUE(ZeloCdmIsL1());
    EXPECT_THAT(box::drmCalls(), ElementsAre("open 16", "module", "reopen 17", "module"));
}

TEST(AltBox, TimesTheBackOff)
{
    AutoRetrier retrier("subject");
    EXPECT_TRUE(retrier.isDue());
    retrier.failed();
    EXPECT_TRUE(box::waitForLine("subject - failed (total 1 times), wait 1.00 sec"));
    EXPECT_FALSE(retrier.isDue());
    box::moveClock(2);
    EXPECT_TRUE(retrier.isDue());
    retrier.succeeded();
    EXPECT_TRUE(retrier.isDue());
}

TEST(AltBox, StartsAndStops)
{
    zelobox::Listener listener;
    std::thread start([] { ZeloStartApp({}); });
    zelobox::Connection middleware = listener.accept();
    for (int handshake = 0; handshake < 3; ++handshake) {
        middleware.receive();
    }
    middleware.send({IPC_PAYLOAD_RAW, IPC_BROWSER_CONFIG, std::vector<char>(32)});
    start.join();
    ZeloStopApp();
    EXPECT_TRUE(box::waitForLine("ZELO 3 cobalt/ZeloCobalt: Started....."));
    EXPECT_TRUE(box::waitForLine("Closing connection"));
}
