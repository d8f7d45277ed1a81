/// @file
/// The library's log call.
#ifndef ZELO_COMMON_LOG_H
#define ZELO_COMMON_LOG_H

#include <STBLogger.h>

/// Logger levels, most severe first.
enum LogLevel : int {
    LogFailure = 1,
    LogBadData = 2, ///< and retries
    LogNotable = 3,
    LogConnection = 4,
    LogTrace = 5,
};

/// @return what every log line of the library carries
inline STBLogContext logContext()
{
    return {"    ", "ZELO", "info", {0, 0, 0, 0}, {1, 0, 1, 0}};
}

/// Logs one line through the host's logger.
///
/// @p line and @p file are part of what integrators search for: they are fixed where a line has had a number for long,
/// and @p file is the source path without an ending, the same in every build. The format is checked by the compiler as
/// far as the box's header allows, which is why this is no function.
#define ZELO_LOG(level, line, file, ...)                                                                               \
    do {                                                                                                               \
        STBLogContext const zeloLogContext = logContext();                                                             \
        static_cast<void>(STBLogger_log(&zeloLogContext, "", level, line, file, __VA_ARGS__));                         \
    } while (false)

#endif
