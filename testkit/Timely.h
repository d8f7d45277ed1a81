/// @file
/// Waiting, and how long something may take.
#ifndef ZELO_TESTKIT_TIMELY_H
#define ZELO_TESTKIT_TIMELY_H

#include <chrono>
#include <functional>
#include <thread>

#include "testkit/Signal.h"

namespace timely {

using Milliseconds = std::chrono::milliseconds;

/// Looks again and again until @p condition holds: for what nobody announces.
///
/// @return false after the deadline
bool eventually(std::function<bool()> const& condition, Milliseconds deadline = Milliseconds(10000));

/// @return how long @p action takes
Milliseconds timeOf(std::function<void()> const& action);

/// How long a stop may take. Sanitizers slow everything down, the waking of threads most of all.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
Milliseconds const stopLimit(2000);
#else
Milliseconds const stopLimit(500);
#endif

/// Expects that @p action ends within the limit on a machine that gives this process its time; what a thread that only
/// waits is kept waiting beyond its own time meanwhile is added.
void expectTimely(std::function<void()> const& action, Milliseconds limit = stopLimit);

/// Does something every so often, on a thread of its own.
class Ticker {
public:
    Ticker(Milliseconds period, std::function<void()> const& action)
        : thread([this, period, action] {
              while (!ended.waitFor(period)) {
                  action();
              }
          })
    {
    }
    ~Ticker()
    {
        ended.give();
        thread.join();
    }
    Ticker(Ticker const&) = delete;
    Ticker& operator=(Ticker const&) = delete;

private:
    probe::Signal ended;
    std::thread thread;
};

} // namespace timely

#endif
