#include "src/common/TimedWait.h"

#include <gtest/gtest.h>
#include <stdint.h>

#include <limits>

#include "testkit/Interpose.h"

using interpose::Takeover;
using interpose::Threads;

TEST(TimedWait, AddsMillisecondsToTheWallClockWithoutWrapping)
{
    int64_t const endOf32Bits = 0x7FFFFFFF;
    timeval clock = {};
    Takeover const telling(
        interpose::gettimeofday,
        [&clock](timeval* now, void*) {
            *now = clock;
            return 0;
        },
        Threads::All);
    for (int64_t const seconds :
         {int64_t{0}, int64_t{4294}, int64_t{4295}, endOf32Bits - 1, endOf32Bits, endOf32Bits * 2}) {
        for (unsigned const microseconds : {0U, 1U, 999999U}) {
            for (unsigned const ms : {0U, 1U, 200U, 999U, 1000U, 60000U, 4294967U, 4294968U, 0xFFFFFFFFU}) {
                SCOPED_TRACE(testing::Message() << seconds << " s " << microseconds << " us and " << ms << " ms");
                clock = {static_cast<time_t>(seconds), static_cast<suseconds_t>(microseconds)};
                if (clock.tv_sec != seconds) {
                    continue; // a clock of 32 bits never shows it
                }
                timespec deadline = {};
                int64_t const expected = seconds * 1000000 + microseconds + int64_t{ms} * 1000;
                if (expected / 1000000 > std::numeric_limits<time_t>::max()) {
                    EXPECT_FALSE(realTimeIn(ms, deadline));
                    continue;
                }
                ASSERT_TRUE(realTimeIn(ms, deadline));
                EXPECT_EQ(static_cast<time_t>(expected / 1000000), deadline.tv_sec);
                EXPECT_EQ(expected % 1000000 * 1000, deadline.tv_nsec);
            }
        }
    }
}
