/// @file
/// Limits of time, and what happens every so often.
#ifndef ZELO_TESTKIT_TIMELY_H
#define ZELO_TESTKIT_TIMELY_H

#include <functional>
#include <thread>

#include "testkit/Signal.h"
#include "testkit/Wait.h"

namespace timely {

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
class PeriodicTimer {
public:
    PeriodicTimer(Milliseconds period, std::function<void()> const& action)
        : thread([this, period, action] {
              while (!ended.waitFor(period)) {
                  action();
              }
          })
    {
    }
    ~PeriodicTimer()
    {
        ended.give();
        thread.join();
    }
    PeriodicTimer(PeriodicTimer const&) = delete;
    PeriodicTimer& operator=(PeriodicTimer const&) = delete;

private:
    probe::Signal ended;
    std::thread thread;
};

} // namespace timely

#endif
