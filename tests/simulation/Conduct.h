/// @file
/// What is promised, followed through a run: calls, callbacks, requests, connections, log lines.
#ifndef ZELO_SIMULATION_CONDUCT_H
#define ZELO_SIMULATION_CONDUCT_H

#include <stdint.h>

#include <map>
#include <set>
#include <string>

#include "tests/simulation/Conversation.h"
#include "tests/simulation/LogLines.h"
#include "tests/simulation/Reconnects.h"

namespace simulation {

struct Endpoint;
struct Fiber;

/// Sets of callbacks. Each start takes the next one, so that a callback tells which manager it comes from.
int const callbackSets = 8;

enum class LifeCycle : uint8_t { Start, Stop, Unload };

class Conduct {
public:
    // The host's calls
    /// A start, a stop or an unload, from here to its end.
    class Call {
    public:
        Call(Conduct& runConduct, LifeCycle callKind);
        ~Call();
        Call(Call const&) = delete;
        Call& operator=(Call const&) = delete;

        int callbackSet() const { return set; }
        /// It has thrown: nothing has changed.
        void failed() { hasFailed = true; }

    private:
        friend class Conduct;

        Conduct& conduct;
        LifeCycle const kind;
        int set = -1; ///< of a start
        int const thread;
        bool hasSlept = false; ///< a start: its manager is in place
        int64_t const begin;
        int64_t const stalledBefore;
        int64_t const busyBefore;
        int overlaps = 0;
        bool isBesideUnload = false;
        bool hasFailed = false;
        bool isIdle = false; ///< a stop with one connection at rest
        uint32_t ending = 0; ///< sets that have no manager after it
        Call* next = nullptr;
    };

    /// @return the number of a new request
    uint32_t beginRequest();
    void endRequest(uint32_t request);
    void asksForController() { ++otherRequests; }
    void sleptInCall(Fiber const& fiber);

    // What the library does
    void connecting();
    void libraryRead(char const* bytes, size_t size);
    void connected(Endpoint const& end);
    void libraryWrote(Endpoint const& end, char const* bytes, size_t size);
    void libraryEnds(Endpoint const& end);
    void libraryClosed(Endpoint const& end);
    void exited() { hasExited = true; }
    void logged(LogLine const& line);
    void printed(std::string const& text);
    std::string const& lastReport() const { return report; }
    void beginCallback(int set);
    void endCallback();

    // What happens to it
    void memoryFailed() { excuse(); }
    void callFailed() { excuse(); }
    void peerEnds(Endpoint const& end, bool isGood);
    void peerServes(Endpoint const& end) { conversation(end).isServed = true; }
    void peerPauses(Endpoint const& end) { conversation(end).isGood = false; }
    void configurationSent(Endpoint const& end) { conversation(end).configurationSent(); }
    /// From here on nobody knows what the library takes for a configuration.
    void peerLies(Endpoint const& end);
    void frameSent(Endpoint const& end) { conversation(end).broughtFrame = true; }

    /// @return whether an unload or an exit has begun
    bool isEnding() const { return ending; }
    uint64_t requests() const { return nextRequest - 1; }

private:
    void excuse();
    Conversation& conversation(Endpoint const& end);
    Conversation* onlySettled();
    Conversation* onlyOpen();
    void checkQueue();
    void queueFullLogged();
    int64_t callbackTime() const;
    void checkStopBound(Call const& call) const;

    Call* calls = nullptr;
    uint64_t callCount = 0;
    // Bits of callback sets
    uint32_t started = 0; ///< and not known to be ended
    uint32_t alive = 0;   ///< known to have a manager
    uint32_t dead = 0;    ///< stopped: no callback may come
    int nextSet = 0;
    std::map<int, Conversation> conversations;
    std::set<uint32_t> writtenRequests;
    BackOff backOff;
    Reconnects reconnects;
    std::map<uint32_t, int> expectedOn; ///< a request that is being made, and its connection
    std::map<uint32_t, uint64_t> callsBefore;
    std::map<uint32_t, int> queuedOn; ///< a request that is being made, and the connection in whose queue it will be
    uint32_t nextRequest = 1;
    uint64_t endedRequests = 0;
    uint64_t otherRequests = 0;
    int callbacksRunning = 0;
    int64_t callbackBegan = 0;
    int64_t callbackTotal = 0;
    bool isExcused = false;
    bool ending = false;
    bool hasExited = false;
    std::string report;
};

} // namespace simulation

#endif
