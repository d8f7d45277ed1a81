/// @file
/// The log lines that are described, and the back-off that they announce.
#ifndef ZELO_SIMULATION_LOGLINES_H
#define ZELO_SIMULATION_LOGLINES_H

#include <stdint.h>

#include <map>
#include <string>

namespace simulation {

struct LogLine {
    int level;
    int line;
    std::string file;
    std::string format;
    std::string text;
};

/// Fails the run on a line that nobody has described.
void checkKnown(LogLine const& line);

/// Follows the attempts of each connection thread.
class BackOff {
public:
    void logged(int thread, LogLine const& line, int64_t now);
    /// @param stalled  stalls since the run began
    void connecting(int thread, int64_t now, int64_t stalled);

private:
    struct Attempt {
        int failures = 0;
        int64_t failedAt = 0;
        int64_t wait = 0;    ///< microseconds
        int64_t stalled = 0; ///< when it failed
    };

    std::map<int, Attempt> attempts; ///< by the thread's identity
};

} // namespace simulation

#endif
