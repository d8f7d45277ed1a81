/// @file
/// Threads whose bodies the tests write in place, and what the tests wait for.
#ifndef ZELO_TESTKIT_THREADPROBE_H
#define ZELO_TESTKIT_THREADPROBE_H

#include <atomic>
#include <functional>

#include "src/common/STBThread.h"
#include "testkit/Signal.h"

namespace probe {

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
