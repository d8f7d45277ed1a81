/// @file
/// What the host process supplies, as the tests need it: a logger that remembers, a clock that a test can own.
#ifndef ZELO_TESTKIT_HOSTSTANDIN_H
#define ZELO_TESTKIT_HOSTSTANDIN_H

#include <STBLogger.h>

#include <chrono>
#include <functional>
#include <string>
#include <vector>

namespace standin {

using Milliseconds = std::chrono::milliseconds;

/// One call of the logger.
struct LogLine {
    STBLogContext context; ///< a copy; its texts are the library's
    std::string text;      ///< the second argument
    int level;
    int line;
    std::string file;
    std::string format;
    std::string message; ///< formatted
};

/// Everything logged since the start or the last clear. Any thread.
std::vector<LogLine> logLines();
/// The lines whose message contains @p part.
std::vector<LogLine> logLines(std::string const& part);
void clearLog();
/// Waits until @p count lines contain @p part.
///
/// @return false after the deadline
bool waitForLog(std::string const& part, size_t count = 1, Milliseconds deadline = Milliseconds(5000));
/// Called on the logging thread for every line, after it was recorded; empty to remove.
void onLog(std::function<void(LogLine const&)> observer);

/// Replaces the monotonic clock of NSTime by a number of microseconds that only the test moves.
void setVirtualTime(long long microseconds);
void advanceVirtualTime(long long microseconds);

extern char const deviceId[];

} // namespace standin

#endif
