/// @file
/// The other end of the socket: one that behaves, floods, lies, stalls, drops and restarts.
#ifndef ZELO_SIMULATION_MIDDLEWARE_H
#define ZELO_SIMULATION_MIDDLEWARE_H

#include <stdint.h>

#include <memory>
#include <string>

#include "tests/simulation/Sockets.h"

namespace simulation {

/// How a middleware is; the fields that are 0 make one that answers and does nothing else.
struct Temper {
    bool answers = true;       ///< requests for the configuration
    int64_t answerDelay = 0;   ///< microseconds
    unsigned actions = 0;      ///< that it takes by itself on a connection, at most
    int64_t actionGap = 20000; ///< from one to the next, at most
    bool lies = false;         ///< some of them break the protocol
    bool drops = false;        ///< some of them end the connection
    bool pauses = false;       ///< some of them are that it stops reading
    bool reads = true;
    unsigned deafConnections = 0; ///< so many are not read once they are configured
    unsigned dropAfterAccept = 0; ///< so many connections are closed at once
    int64_t dropAfter = 0;        ///< each connection ends after so long; 0: never
    unsigned flood = 0;           ///< configurations that it sends at once, unasked
    unsigned restarts = 0;
    int64_t firstListens = 0; ///< when
    int64_t uptime = 0;       ///< until a restart, at most
    int64_t downtime = 0;
    size_t backlog = 8;
    size_t capacity = 212992;
    int64_t acceptDelay = 0;
};

/// Starts a middleware that lives until the end of the run.
void startMiddleware(Temper const& temper);

/// A temper out of the decisions.
Temper chooseTemper();

} // namespace simulation

#endif
