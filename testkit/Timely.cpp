#include "testkit/Timely.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace timely {

bool eventually(std::function<bool()> const& condition, Milliseconds deadline)
{
    auto const end = std::chrono::steady_clock::now() + deadline;
    while (!condition()) {
        if (std::chrono::steady_clock::now() >= end) {
            return false;
        }
        std::this_thread::sleep_for(Milliseconds(1));
    }
    return true;
}

Milliseconds timeOf(std::function<void()> const& action)
{
    auto const begin = std::chrono::steady_clock::now();
    action();
    return std::chrono::duration_cast<Milliseconds>(std::chrono::steady_clock::now() - begin);
}

void expectTimely(std::function<void()> const& action, Milliseconds limit)
{
    using Clock = std::chrono::steady_clock;
    Milliseconds const period(10);
    Clock::duration lateness(0);
    Clock::time_point last = Clock::now();
    Milliseconds taken(0);
    {
        Ticker const witness(period, [&] {
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
