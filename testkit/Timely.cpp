#include "testkit/Timely.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace timely {

void expectTimely(std::function<void()> const& action, Milliseconds limit)
{
    using Clock = std::chrono::steady_clock;
    Milliseconds const period(10);
    Clock::duration lateness(0);
    Clock::time_point last = Clock::now();
    Milliseconds taken(0);
    {
        PeriodicTimer const witness(period, [&] {
            Clock::time_point const now = Clock::now();
            lateness += std::max<Clock::duration>(now - last - period, Clock::duration(0));
            last = now;
        });
        taken = timeOf(action);
    }
    Milliseconds const late = std::chrono::duration_cast<Milliseconds>(lateness);
    EXPECT_GT((limit + late).count(), taken.count()) << "of which the machine was late by " << late.count();
}

} // namespace timely
