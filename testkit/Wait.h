/// @file
/// The wait of tests, fuzzers and benchmarks for what nobody announces.
#ifndef ZELO_TESTKIT_WAIT_H
#define ZELO_TESTKIT_WAIT_H

#include <chrono>
#include <functional>

namespace timely {

using Milliseconds = std::chrono::milliseconds;

/// Looks again and again until @p condition holds.
///
/// @return false after the deadline
bool eventually(std::function<bool()> const& condition, Milliseconds deadline = Milliseconds(10000));

/// @return how long @p action takes
Milliseconds timeOf(std::function<void()> const& action);

} // namespace timely

#endif
