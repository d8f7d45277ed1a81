/// @file
/// How each connection begins, ends and is followed by the next one.
#ifndef ZELO_SIMULATION_RECONNECTS_H
#define ZELO_SIMULATION_RECONNECTS_H

#include <stddef.h>
#include <stdint.h>

#include <map>
#include <string>

#include "tests/simulation/LogLines.h"

namespace simulation {

/// Follows the connections of each connection thread.
///
/// A thread that connects again was not stopped: its last connection has ended with one line about the reason, and the
/// handlers that had been told of it have been told of its end. The next attempt comes at once; after sixteen
/// connections in a row that brought no frame and did not last, a slice later.
class Reconnects {
public:
    void connecting(int thread, int64_t now, int64_t stalled);
    void connected(int thread, int64_t now, int64_t stalled);
    /// @param bytes  what the library has read
    void received(int thread, char const* bytes, size_t size);
    void closed(int thread, int64_t now, int64_t stalled);
    void logged(int thread, LogLine const& line);
    /// The queue of the thread's connection cannot take any more: the line about its end must say so.
    void queueIsFull(int thread) { links[thread].queueIsFull = true; }

private:
    struct Link {
        // This connection
        int64_t connectedAt = 0;
        int64_t stalledAtConnect = 0;
        int64_t closedAt = -1; ///< negative: it is open, there was none, or the back-off has taken over
        int64_t stalledAtClose = 0;
        bool isKnown = false; ///< to the handlers
        bool isLost = false;  ///< they have been told of the end
        bool queueIsFull = false;
        bool saidQueueFull = false;
        int reasons = 0;
        // What has come in of the next frame
        std::string header;
        uint64_t missing = 0;
        // All connections
        unsigned fruitless = 0;
        bool isCountKnown = true; ///< false: one lasted about as long as it takes to last
    };

    static void checkEnd(Link const& link);
    static void checkPause(Link const& link, int64_t now, int64_t stalled);

    std::map<int, Link> links; ///< by the thread's identity
};

} // namespace simulation

#endif
