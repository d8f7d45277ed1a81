/// @file
/// What the kernel says about this process.
#ifndef ZELO_TESTKIT_PROCESS_H
#define ZELO_TESTKIT_PROCESS_H

#include <atomic>
#include <functional>
#include <set>
#include <string>
#include <thread>

/// Names of the threads.
std::multiset<std::string> threadNames();

/// @return true once none of the library's threads is left; a thread may be listed a moment after its end
bool libraryThreadsEnd();

/// A thread of its own for a call that is expected to wait for something.
class BlockingCall {
public:
    ~BlockingCall();
    void run(std::function<void()> call);

    /// @return true once the call waits in the kernel; false if it has returned, or after a deadline of some seconds
    bool waitUntilBlocked() const;
    void join() { thread.join(); }
    void detach() { thread.detach(); }

private:
    std::atomic<int> kernelId{0};
    std::atomic<bool> returned{false};
    std::thread thread;
};

int openDescriptors();

/// @return true if a file whose path contains @p part is mapped
bool isMapped(std::string const& part);

#endif
