/// @file
/// What the library has written on one connection, and whether it is a legal conversation.
#ifndef ZELO_SIMULATION_CONVERSATION_H
#define ZELO_SIMULATION_CONVERSATION_H

#include <stdint.h>

#include <map>
#include <set>
#include <string>

#include "tests/simulation/Wire.h"

namespace simulation {

/// A host's request; its number travels in the coordinates of the video window.
struct Request {
    uint16_t thread = 0; ///< 0: the window of a configuration
    uint32_t number = 0;
};

class Conversation {
public:
    Conversation() = default;
    Conversation(int connectionNumber, bool isFirstOfRun) : connection(connectionNumber), isFirst(isFirstOfRun) {}

    /// @param writtenRequests  of all connections; a replacing start has two at a time
    void written(char const* bytes, size_t size, std::set<uint32_t>& writtenRequests);
    /// The middleware has sent so many configurations.
    void configurationSent(unsigned count = 1) { configurations += count; }

    /// @return true once the library has asked for its configuration: requests reach the middleware from here on
    bool isSettled() const { return configurationRequests == 1 && states == 1; }

    /// A request that the middleware must get soon, and before the end.
    void expect(uint32_t request, int64_t now, int64_t stalled) { due[request] = {now, stalled, due.size()}; }
    bool hasOutstanding() const { return !due.empty(); }
    uint32_t oldestOutstanding() const { return due.begin()->first; }

    int number() const { return connection; }

    // What the peer and the world have done to it
    bool isGood = true;    ///< nothing that would excuse a loss
    bool isServed = false; ///< the middleware reads it
    bool peerEnded = false;
    bool libraryEnded = false;
    bool isClosed = false; ///< by the library
    int64_t openedAt = 0;
    uint64_t endedBefore = 0; ///< requests that had been made when it was opened
    uint64_t strays = 0;      ///< requests whose window may have been dropped before it could be sent, but not its mode
    bool broughtFrame = false;
    unsigned frames = 0;

    // Its queue
    int connectedBy = 0; ///< identity of the thread
    uint64_t queued = 0; ///< messages that have surely been
    int64_t fullSince = -1;
    int64_t stalledWhenFull = 0;
    unsigned fullLines = 0;
    uint64_t messagesThatMayBe(uint64_t requested) const { return requested + 3 * configurations + 8; }

private:
    void frame(Frame const& frame, std::set<uint32_t>& writtenRequests);
    void allowedList(Frame const& frame);
    void window(Frame const& frame, std::set<uint32_t>& writtenRequests);
    void arrived(uint32_t request);
    void require(bool holds, char const* what) const;

    int connection = 0;
    bool isFirst = true;
    std::string unread;
    unsigned lists = 0;
    unsigned configurationRequests = 0;
    unsigned states = 0;
    unsigned configurations = 0;
    unsigned acknowledgements = 0;
    unsigned resets = 0;
    unsigned windows = 0;
    unsigned modes = 0;
    std::map<uint16_t, uint32_t> lastOfThread;
    struct Made {
        int64_t at;
        int64_t stalled; ///< stalls of the run until then
        size_t before;   ///< that were not written yet
    };
    std::map<uint32_t, Made> due;
};

} // namespace simulation

#endif
