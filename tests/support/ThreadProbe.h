/// @file
/// Threads whose bodies the tests write in place, and what the tests wait for.
#ifndef ZELO_TESTS_THREADPROBE_H
#define ZELO_TESTS_THREADPROBE_H

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>

#include "src/common/STBThread.h"

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

    void wait()
    {
        std::unique_lock<std::mutex> lock(mutex);
        EXPECT_TRUE(changed.wait_until(lock, std::chrono::steady_clock::now() + patience, [this] { return given; }));
    }

private:
    std::mutex mutex;
    std::condition_variable changed;
    bool given = false;
};

class Thread : public STBThread {
public:
    using Body = std::function<void(Thread&)>;

    explicit Thread(Body newBody, std::string const& newName = "") : body(std::move(newBody)) { setName(newName); }
    ~Thread() override
    {
        if (isRunning()) {
            stop();
        }
    }

    void run() override { body(*this); }

private:
    Body const body;
};

class Listener : public STBThread::OnThreadCompletedListener {
public:
    using Action = std::function<void(STBThread&)>;

    explicit Listener(Action newAction = [](STBThread&) {}) : action(std::move(newAction)) {}

    void onThreadCompleted(STBThread* thread) override
    {
        action(*thread);
        completed = thread;
        ++count;
        done.give();
    }

    STBThread* waitForCompletion()
    {
        done.wait();
        return completed;
    }

    int completions() const { return count; }

private:
    Action const action;
    Signal done;
    std::atomic<STBThread*> completed{nullptr};
    std::atomic<int> count{0};
};

} // namespace probe

#endif
