/// @file
/// A started library and the figures of its process.
#ifndef ZELO_TESTS_RIG_H
#define ZELO_TESTS_RIG_H

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <string>
#include <vector>

#include "zelobox/protocol/Peer.h"

namespace rig {

using Clock = std::chrono::steady_clock;
using zelobox::Milliseconds;

/// Resident memory of the process, in KiB.
long residentKiB();
/// @return what is allocated and not given back, however much address space the allocator keeps for it
long heapInUseKiB();
/// The most that it has ever been.
long peakKiB();
/// @return @p limit, but no limit under a sanitizer, which keeps what was freed
long memoryLimit(long limit);
/// Processor time of the process, all threads.
Milliseconds processorTime();
Milliseconds since(Clock::time_point begin);

/// Waits for a state that has no event of its own. @return false after the deadline
bool waitUntil(std::function<bool()> const& holds, Milliseconds deadline = Milliseconds(10000));

/// @return a whole configuration with this text in every place
std::vector<char> configuration(std::string const& text);
std::vector<char> keyFrame();
std::vector<char> volumeFrame(uint32_t value);

/// What the host's callbacks have seen.
extern std::atomic<int> keys;
extern std::atomic<int> volumeChanges;

unsigned currentVolume();

/// Starts the library against a listener and stops it at the end.
class Started : public testing::Test {
protected:
    Started();
    ~Started() override;

    /// Takes the next connection, past the handshake.
    zelobox::Connection acceptClient(Milliseconds deadline = Milliseconds(10000));

    /// Drops the connection and proves on the next one that the link works.
    void proveAlive();

    zelobox::Listener listener;
    zelobox::Connection connection;
};

} // namespace rig

#endif
