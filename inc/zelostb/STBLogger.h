/// @file
/// The box's logger, as far as this library calls it. The host process supplies the definition.
#ifndef ZELOSTB_STBLOGGER_H
#define ZELOSTB_STBLOGGER_H

#include <stdint.h>

/// How a log line is to be shown. 32 bytes on the 32-bit box.
struct STBLogContext {
    char const* indent;
    char const* tag;
    char const* category;
    uint32_t zero[4];
    uint8_t flags[4];
};

/// Writes one log line.
///
/// @param context  borrowed for the call
/// @param text     an empty text
/// @param level    1 (failure) to 5 (trace)
/// @param line     source line
/// @param file     source path without an ending
/// @param format   printf-style, followed by its arguments
/// @return a value that nobody uses
/// @par Threads
/// Called from every thread of the library and from the host's own threads.
extern "C" int STBLogger_log(STBLogContext const* context, char const* text, int level, int line, char const* file,
                             char const* format, ...) __attribute__((format(printf, 6, 7)));

#endif
