/// @file
/// The stand-in for what the host process supplies: a logger that remembers, a clock that a test can own, an identity,
/// a record of what the DRM object was asked for.
///
/// The functions themselves, which depend on the box's headers, are in HostFunctions.cpp; a test with other headers
/// brings its own and reports here.
#ifndef ZELO_TESTKIT_HOSTSTANDIN_H
#define ZELO_TESTKIT_HOSTSTANDIN_H

#include <STBLogger.h>
#include <stdarg.h>

#include <chrono>
#include <functional>
#include <map>
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

enum class Logging {
    Recorded,
    Formatted, ///< and counted: nothing is kept and nothing allocated, but the arguments are looked at
    Dropped,   ///< at no cost
};
/// What becomes of a line. Recorded unless a program that watches memory or speed says otherwise.
void setLogging(Logging logging);

/// Everything logged since the start or the last clear. Any thread.
std::vector<LogLine> logLines();
/// The lines whose message contains @p part.
std::vector<LogLine> logLines(std::string const& part);
void clearLog();
/// Waits until @p count lines contain @p part.
///
/// @return false after the deadline
bool waitForLog(std::string const& part, size_t count = 1, Milliseconds deadline = Milliseconds(10000));
/// Called on the logging thread for every recorded line, after it was recorded; empty to remove.
void onLog(std::function<void(LogLine const&)> observer);

/// Replaces the monotonic clock of NSTime by a number of microseconds that only the test moves.
void setVirtualTime(long long microseconds);
void advanceVirtualTime(long long microseconds);

extern char const deviceId[];

/// The calls in order: "construct", "init cel=1", "apply cel=2", "bridge", "cdm", "isL1", "destroy".
std::vector<std::string> drmCalls();
void clearDrmCalls();
/// The next call that begins with @p operation throws std::runtime_error.
void failNextDrm(std::string const& operation);
/// The answer of isL1().
void setL1(bool isL1);
/// What the CDM accessor returns.
void* cdmObject();

// What the host's functions report and ask.

void logCalled(STBLogContext const& context, char const* text, int level, int line, char const* file,
               char const* format, va_list arguments);
bool isLoggingDropped();
long long nowMicroseconds();
void recordDrm(std::string const& call);
/// @return " key=value" for each parameter
std::string textOf(std::map<std::string, std::string> const& parameters);
bool isL1();

} // namespace standin

#endif
