// A wall clock that is set while the library runs, and one that is past the end of 32 bits.
#include "testkit/WallClock.h"

#include <gtest/gtest.h>

#include <chrono>

#include "cobalt/ZeloCobalt.h"
#include "src/ipc/IPCMessage.h"
#include "testkit/Callbacks.h"
#include "testkit/Middleware.h"
#include "testkit/Timely.h"

namespace {

using timely::eventually;
using timely::expectTimely;

int64_t const hour = 3600;
int64_t const endOf32Bits = 0x7FFFFFFF;

class WallClockSteps : public testing::Test {
protected:
    ~WallClockSteps() override { ZeloStopApp(); }

    void start()
    {
        middleware.serveStart([] { ZeloStartApp(callbacks::all()); });
    }

    /// Sends a key in and takes a request out.
    void exchange()
    {
        size_t const before = callbacks::calls().size();
        middleware.sendKey(2);
        ASSERT_TRUE(callbacks::waitForCalls(before + 1));
        ZeloRequestPreviousController();
        ASSERT_EQ(std::vector<int>{IPC_PREVIOUS_CONTROLLER}, middleware.receiveTypes(1));
    }

    /// Lets the sender come to a wait that was begun under the present clock.
    void passAWait()
    {
        unsigned const before = clock.readings();
        exchange();
        ASSERT_TRUE(eventually([&] { return clock.readings() > before; }));
    }

    WallClock clock;
    Middleware middleware;
};

class WallClockSet : public WallClockSteps, public testing::WithParamInterface<int64_t> {};

} // namespace

TEST_P(WallClockSet, HoldsUpNoMessageAndNoStop)
{
    start();
    clock.stepDuringWaits(GetParam());
    passAWait();
    for (int i = 0; i < 20; ++i) {
        exchange();
    }
    expectTimely(&ZeloStopApp);
}

INSTANTIATE_TEST_SUITE_P(ByAnHour, WallClockSet, testing::Values(hour, -hour),
                         [](testing::TestParamInfo<int64_t> const& instance) {
                             return instance.param > 0 ? "Back" : "Forward";
                         });

TEST_F(WallClockSteps, ToAndFroChangeNothing)
{
    start();
    clock.stepToAndFro(hour);
    for (int i = 0; i < 20; ++i) {
        exchange();
    }
    middleware.close();
    middleware.acceptClientAgain();
    exchange();
    expectTimely(&ZeloStopApp);
}

TEST_F(WallClockSteps, MayPassTheEndOf32Bits)
{
    start();
    clock.moveWorld(endOf32Bits - WallClock::realSeconds() - 1);
    auto const end = std::chrono::steady_clock::now() + std::chrono::milliseconds(2500);
    while (std::chrono::steady_clock::now() < end) {
        exchange();
    }
    expectTimely(&ZeloStopApp);
}

TEST_F(WallClockSteps, AStartAfter2038IsAStart)
{
    for (int64_t const moment : {endOf32Bits, 2 * endOf32Bits + 2, int64_t{4102444800}}) {
        clock.moveWorld(moment - WallClock::realSeconds());
        unsigned const before = clock.readings();
        start();
        exchange();
        expectTimely(&ZeloStopApp);
        EXPECT_GT(clock.readings(), before);
    }
}
