/// @file
/// What the host process supplies, without a memory: in place of HostStandIn.
#ifndef ZELO_TESTKIT_QUIETHOST_H
#define ZELO_TESTKIT_QUIETHOST_H

#include <atomic>

/// How many times faster than real time the monotonic clock of the host's time type runs.
extern std::atomic<int> quietHostClockRate;

extern std::atomic<unsigned long> quietHostLogLines;

#endif
