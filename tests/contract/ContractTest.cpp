// The library as a host sees it that was built without the project's headers.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <string.h>

#include "Entry.h"
#include "Host.h"
#include "src/ipc/IPCMessage.h"
#include "testkit/Middleware.h"

using testing::ElementsAre;

namespace {

int const untouched = 0xA5;

std::vector<std::string> called;

void onKey(uint32_t key, uint8_t modifier)
{
    called.push_back("first " + std::to_string(key) + " " + std::to_string(modifier));
}

void onPause()
{
    called.push_back("second");
}

void onResume()
{
    called.push_back("third");
}

void onVolumeChanged()
{
    called.push_back("fourth");
}

typedef void (*Callback)();

} // namespace

TEST(CapabilitiesContract, AreTwentyBytesOfWhichFourStayTheHosts)
{
    uint8_t record[24];
    memset(record, untouched, sizeof record);
    ASSERT_TRUE(entry::capabilities(record));
    EXPECT_LE(record[8], 2);
    EXPECT_THAT(record, ElementsAre(1, 0, 0, 0,                                   // 0: number
                                    1, untouched, 0, 1,                           // 4: flags
                                    record[8], 0, 0, 0,                           // 8: memory class
                                    untouched, 0, untouched, untouched,           // 12: flags
                                    3, 0, 0, 0,                                   // 16: number
                                    untouched, untouched, untouched, untouched)); // not the record's any more
}

TEST(LogContextContract, HasThreeTextsThenSixteenZeroesThenFourFlags)
{
    entry::log(2, "line");
    host::LogRecord const record = host::lastLog();
    EXPECT_EQ("    ", record.indent);
    EXPECT_EQ("ZELO", record.tag);
    EXPECT_EQ("info", record.category);
    EXPECT_THAT(record.rest, ElementsAre(0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 0, 1, 0));
    if (sizeof(void*) == 4) {
        EXPECT_EQ(32U, 3 * sizeof(void*) + record.rest.size());
    }
}

TEST(CallbacksContract, AreFourPointersInTheirOrder)
{
    Middleware middleware;
    Callback const callbacks[4] = {reinterpret_cast<Callback>(&onKey), &onPause, &onResume, &onVolumeChanged};
    middleware.serveStart([&] { entry::start(callbacks); });
    middleware.send(zelobox::frameOf(IPCMessageUnsignedInt(IPC_REMOTE_KEY, 0x070002)));
    middleware.send(zelobox::frameOf(IPCMessageSimpleString(IPC_APP_LIFECYCLE, "onpause")));
    middleware.send(zelobox::frameOf(IPCMessageSimpleString(IPC_APP_LIFECYCLE, "onresume")));
    middleware.send(zelobox::frameOf(IPCMessageUnsignedInt(IPC_VOLUME, 40)));
    // The list is the connection thread's until the library says something again.
    middleware.configure();
    entry::stop();
    EXPECT_THAT(called, ElementsAre("first 36 7", "second", "third", "fourth"));
}

TEST(CallbacksContract, MayAllBeNull)
{
    Middleware middleware;
    Callback const callbacks[4] = {};
    middleware.serveStart([&] { entry::start(callbacks); });
    middleware.send(zelobox::frameOf(IPCMessageUnsignedInt(IPC_REMOTE_KEY, 2)));
    middleware.configure();
    entry::stop();
}

TEST(DrmContract, IsCalledThroughItsSlots)
{
    EXPECT_FALSE(entry::cdmIsL1());
    EXPECT_EQ(host::bridgeAnswer(8), entry::cdm(reinterpret_cast<void*>(0x12345678)));
    EXPECT_EQ(host::bridgeAnswer(8), entry::cdm(reinterpret_cast<void*>(uintptr_t{0x80000000})));
    EXPECT_TRUE(entry::cdmIsL1());
    EXPECT_THAT(host::drmCalls(),
                ElementsAre("object construct", "object slot 0 cel=305419896 null null", "bridge slot 8",
                            "object slot 2 cel=18446744071562067968", "bridge slot 8"));
}

TEST(StringsContract, AreOfTheAbiThatTheNamesSay)
{
    std::string value;
    ASSERT_TRUE(entry::environment(2, value));
    EXPECT_EQ("contract-0001", value);
    ASSERT_TRUE(entry::environment(0, value));
    EXPECT_EQ("/var/zelo/zelo_cobalt/", value);
}

TEST(NumbersContract, PassThroughReferences)
{
    setenv("VIRTUAL_SCREEN_WIDTH", "1280", 1);
    setenv("VIRTUAL_SCREEN_HEIGHT", "720", 1);
    uint32_t first = 7;
    uint32_t second = 7;
    bool muted = true;
    EXPECT_TRUE(entry::uiSize(&first, &second));
    EXPECT_EQ(1280U, first);
    EXPECT_EQ(720U, second);
    EXPECT_TRUE(entry::displaySize(&first, &second));
    EXPECT_EQ(0U, first);
    EXPECT_EQ(0U, second);
    first = 7;
    EXPECT_TRUE(entry::volume(&first, &muted));
    EXPECT_EQ(0U, first);
    EXPECT_FALSE(muted);
    EXPECT_EQ(0xAAU, entry::key(76));
    EXPECT_EQ(0U, entry::key(-1));
}

TEST(RequestsContract, AreAcceptedWithoutAManager)
{
    EXPECT_TRUE(entry::videoWindow(1, 2, 3, 4));
    EXPECT_TRUE(entry::previousController());
}
