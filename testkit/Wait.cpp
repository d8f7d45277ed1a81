#include "testkit/Wait.h"

#include <time.h>

namespace timely {

using Clock = std::chrono::steady_clock;

bool eventually(std::function<bool()> const& condition, Milliseconds deadline)
{
    auto const end = Clock::now() + deadline;
    timespec const step = {0, 500000};
    while (!condition()) {
        if (Clock::now() >= end) {
            return false;
        }
        clock_nanosleep(CLOCK_MONOTONIC, 0, &step, nullptr); // which no test takes over
    }
    return true;
}

Milliseconds timeOf(std::function<void()> const& action)
{
    auto const begin = Clock::now();
    action();
    return std::chrono::duration_cast<Milliseconds>(Clock::now() - begin);
}

} // namespace timely
