/// @file
/// The readable account of a run: time, thread, effect.
#ifndef ZELO_SIMULATION_TRACE_H
#define ZELO_SIMULATION_TRACE_H

#include <stdint.h>

#include <string>
#include <vector>

namespace simulation {

/// Lines are kept only while it is on.
void setTracing(bool on);
extern bool isTracing;
/// @return the lines; what is said twice in a row is counted
std::vector<std::string> takeTrace();

/// @return the function, file and line at @p address, if the program knows it; "?" while there is no trace
std::string placeOf(uintptr_t address);

void traceLine(char const* format, ...) __attribute__((format(printf, 1, 2)));

/// Adds a line about what the current thread does.
#define TRACE(...)                                                                                                     \
    do {                                                                                                               \
        if (isTracing) {                                                                                               \
            traceLine(__VA_ARGS__);                                                                                    \
        }                                                                                                              \
    } while (false)

} // namespace simulation

#endif
