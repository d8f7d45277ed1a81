#include <gtest/gtest.h>

#include "zelobox/web/CallbackCauses.h"

using zelobox::CallbackCauses;

namespace {

zelobox::TraceRecord toHost(zelobox::Frame const& frame, int64_t time = 0)
{
    zelobox::TraceRecord record;
    record.time = time;
    record.frame = frame;
    return record;
}

zelobox::Frame key()
{
    return zelobox::frameOf(IPCMessageUnsignedInt(IPC_REMOTE_KEY, 44));
}

zelobox::Frame volume()
{
    return zelobox::frameOf(IPCMessageUnsignedInt(IPC_VOLUME, 30));
}

zelobox::Frame lifecycle(char const* text)
{
    return zelobox::frameOf(IPCMessageSimpleString(IPC_APP_LIFECYCLE, text));
}

} // namespace

TEST(CallbackCauses, AreTheFramesInTheirOrder)
{
    CallbackCauses causes;
    causes.note(1, toHost(key(), 100));
    causes.note(2, toHost(key(), 200));
    causes.note(3, toHost(volume()));
    auto const first = causes.take("key");
    ASSERT_TRUE(first);
    EXPECT_EQ(1U, first->serial);
    EXPECT_EQ(100, first->time);
    EXPECT_EQ(2U, causes.take("key")->serial);
    EXPECT_EQ(3U, causes.take("volumeChanged")->serial);
    EXPECT_FALSE(causes.take("volumeChanged"));
}

TEST(CallbackCauses, LeaveOutWhatMakesNoCallback)
{
    CallbackCauses causes;
    causes.note(1, toHost(lifecycle("onPause")));
    causes.note(2, toHost({IPC_PAYLOAD_RAW, IPC_BROWSER_CONFIG, {}}));
    zelobox::TraceRecord toMiddleware = toHost(key());
    toMiddleware.direction = zelobox::Direction::ToMiddleware;
    causes.note(3, toMiddleware);
    EXPECT_FALSE(causes.take("pause"));
    EXPECT_FALSE(causes.take("key"));
    causes.note(4, toHost(lifecycle("onpause")));
    causes.note(5, toHost(lifecycle("onresume")));
    EXPECT_EQ(4U, causes.take("pause")->serial);
    EXPECT_EQ(5U, causes.take("resume")->serial);
}

TEST(CallbackCauses, ForgetAnOlderFrameThatHasMadeNone)
{
    CallbackCauses causes;
    causes.note(1, toHost(key()));
    causes.note(2, toHost(volume()));
    causes.note(3, toHost(key()));
    EXPECT_EQ(2U, causes.take("volumeChanged")->serial);
    EXPECT_EQ(3U, causes.take("key")->serial);
}

TEST(CallbackCauses, AreBounded)
{
    CallbackCauses causes;
    for (uint64_t serial = 1; serial <= CallbackCauses::most + 5; ++serial) {
        causes.note(serial, toHost(key()));
    }
    EXPECT_EQ(6U, causes.take("key")->serial);
}
