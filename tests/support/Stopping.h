/// @file
/// How the tests of a stop begin and end.
#ifndef ZELO_TESTS_STOPPING_H
#define ZELO_TESTS_STOPPING_H

#include <gtest/gtest.h>

#include <optional>
#include <thread>

#include "tests/support/HostStandIn.h"
#include "tests/support/Interpose.h"
#include "tests/support/LinkSupport.h"

namespace testlink {

/// How long a stop may take. Sanitizers slow everything down, the waking of threads most of all.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
Milliseconds const stopLimit(2000);
#else
Milliseconds const stopLimit(500);
#endif

/// Expects that @p action ends within the limit on a machine that gives this process its time; what a thread that only
/// waits is kept waiting beyond its own time meanwhile is added.
void expectTimely(std::function<void()> const& action);

/// Stops and destroys, as the end of the application does, and expects that no handler is told. The log begins anew.
void expectTimelyEnd(std::optional<Link>& link);

/// A connection that a test ends.
class Stopping : public testing::Test {
protected:
    void connect() { middleware = link->startAndAccept(listener); }

    zelobox::Listener listener;
    zelobox::Connection middleware{zelobox::Descriptor()};
    std::optional<Link> link{std::in_place};
};

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

} // namespace testlink

#endif
