/// @file
/// The kernel's view of this process: threads, descriptors, memory.
#ifndef ZELO_TESTKIT_PROCESS_H
#define ZELO_TESTKIT_PROCESS_H

#include <atomic>
#include <chrono>
#include <functional>
#include <set>
#include <string>
#include <thread>

/// Names of the threads.
std::multiset<std::string> threadNames();
int threadCount();
int openDescriptors();

/// @return true once none of the library's threads is left; a thread may be listed a moment after its end
bool libraryThreadsEnd();

/// @return how often the library's threads have given up their processor to wait
unsigned long libraryWaits();

/// @return true if a file whose path contains @p part is mapped
bool isMapped(std::string const& part);

/// @return resident memory, in KiB
long residentKiB();
/// @return the most resident memory that there has ever been
long peakKiB();
/// @return what is allocated and not given back, however much address space the allocator keeps for it
long heapInUseKiB();
/// @return @p limit, but no limit under a sanitizer, which keeps what was freed
long memoryLimit(long limit);

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

#endif
