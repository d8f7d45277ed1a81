/// @file
/// An event that happens once on one thread and that others wait for.
#ifndef ZELO_TESTKIT_SIGNAL_H
#define ZELO_TESTKIT_SIGNAL_H

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace probe {

std::chrono::seconds const patience(30);

/// Given once, waited for by anybody.
class Signal {
public:
    void give()
    {
        std::lock_guard<std::mutex> const lock(mutex);
        given = true;
        changed.notify_all();
    }

    bool isGiven()
    {
        std::lock_guard<std::mutex> const lock(mutex);
        return given;
    }

    /// @return false after the deadline
    bool waitFor(std::chrono::milliseconds deadline)
    {
        std::unique_lock<std::mutex> lock(mutex);
        return changed.wait_until(lock, std::chrono::steady_clock::now() + deadline, [this] { return given; });
    }

    void wait() { EXPECT_TRUE(waitFor(patience)); }

private:
    std::mutex mutex;
    std::condition_variable changed;
    bool given = false;
};

} // namespace probe

#endif
