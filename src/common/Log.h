/// @file
/// The library's log call.
#ifndef ZELO_COMMON_LOG_H
#define ZELO_COMMON_LOG_H

#include <STBLogger.h>
#include <stddef.h>
#include <stdint.h>

/// Logger levels, most severe first.
enum LogLevel : int {
    LogFailure = 1,
    LogBadData = 2, ///< and retries
    LogNotable = 3,
    LogConnection = 4,
    LogTrace = 5,
};

/// The box's log record by positions: its header may call the members anything.
struct LogRecord {
    char const* indent;
    char const* tag;
    char const* category;
    uint32_t zero[4];
    uint8_t flags[4];
};
static_assert(sizeof(LogRecord) == sizeof(STBLogContext), "the box's log record has another size");
static_assert(offsetof(LogRecord, zero) == 3 * sizeof(char const*) &&
                  offsetof(LogRecord, flags) == 3 * sizeof(char const*) + 16,
              "three texts, four numbers, four flags, without gaps");
static_assert(sizeof(void*) != 4 || sizeof(LogRecord) == 32, "the record of the 32-bit box");

/// @return what every log line of the library carries, as the box's logger takes it
inline STBLogContext const* logContext()
{
    static constexpr LogRecord record = {"    ", "ZELO", "info", {0, 0, 0, 0}, {1, 0, 1, 0}};
    return reinterpret_cast<STBLogContext const*>(&record);
}

/// Logs one line through the host's logger.
///
/// @p line and @p file are part of what integrators search for: they are fixed where a line has had a number for long,
/// and @p file is the source path without an ending, the same in every build. The format is checked by the compiler as
/// far as the box's header allows, which is why this is no function.
#define ZELO_LOG(level, line, file, ...)                                                                               \
    do {                                                                                                               \
        static_cast<void>(STBLogger_log(logContext(), "", level, line, file, __VA_ARGS__));                            \
    } while (false)

#endif
