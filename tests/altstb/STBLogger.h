/// @file
/// A logger that returns nothing, with a context of its own making.
#ifndef ALTSTB_STBLOGGER_H
#define ALTSTB_STBLOGGER_H

#include <stdint.h>

typedef struct STBLogContext {
    const char* prefix;
    const char* component;
    const char* group;
    uint32_t unused[4];
    uint8_t bits[4];
} STBLogContext;

#ifdef __cplusplus
extern "C" {
#endif
void STBLogger_log(const STBLogContext* where, const char* extra, int severity, int lineNumber, const char* fileName,
                   const char* fmt, ...);
#ifdef __cplusplus
}
#endif

#endif
