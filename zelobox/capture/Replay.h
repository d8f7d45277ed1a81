/// @file
/// The replay of a trace: the middleware's side is played, the library's is compared.
#ifndef ZELO_ZELOBOX_REPLAY_H
#define ZELO_ZELOBOX_REPLAY_H

#include <deque>
#include <optional>

#include "zelobox/capture/ReplayScript.h"
#include "zelobox/middleware/Server.h"
#include "zelobox/middleware/Timeline.h"

namespace zelobox {

/// The library has done something else, or nothing.
class ReplayFailure : public std::runtime_error {
public:
    ReplayFailure(std::string const& text, bool inTime) : std::runtime_error(text), timedOut(!inTime) {}

    bool const timedOut;
};

/// Each client that connects is one connection of the script, in this order. Its steps are taken one after another: a
/// frame is sent when all that the library had sent before it has arrived, and not before its time.
///
/// Everything happens in turns of the loop, which must live longer.
class Replay : private Server::Handler {
public:
    struct Options {
        bool fast = false;           ///< sends as soon as it is its turn
        Milliseconds tolerance{0};   ///< how much later than recorded the library may be
        Milliseconds firstWithin{0}; ///< how long the first client may take; 0: as long as it likes
        std::set<uint16_t> ignored;  ///< types from the library that are not compared
        bool quiet = false;          ///< frames are not shown
    };

    /// @throw PeerError when another server listens at @p path or the socket cannot be made
    /// @param nextRecord  reads the trace as far as it is needed
    Replay(EventLoop& eventLoop, std::string const& path, ReplayScript::NextRecord nextRecord, Options const& wanted,
           Timeline& output);

    /// Takes turns until every step has been taken.
    ///
    /// @throw ReplayFailure at the first difference
    void run();

    /// @return the number of the last record that was played
    size_t position() const { return lastRecord; }

private:
    using Time = EventLoop::Clock::time_point;
    using Kind = ReplayStep::Kind;

    /// A connection that has begun.
    struct Playing {
        Time begin;
        Time last; // when something was done or came
        std::deque<Frame> arrived;
        std::optional<std::string> lost; // why
    };

    void onConnected(ClientId client) override;
    void onFrame(ClientId client, Frame const& frame) override;
    void onDisconnected(ClientId client, std::string const& reason) override;

    bool isDone();
    bool advance(ClientId client);
    // Each takes a step, or returns false if it is too early for that.
    bool take(ClientId client, ReplayStep const& step);
    bool takeSend(ClientId client, ReplayStep const& step);
    bool takeFrame(ClientId client, ReplayStep const& step);
    bool takeClose(ClientId client, ReplayStep const& step);
    bool takeEnd(ClientId client, ReplayStep const& step);
    bool isDue(ClientId client, ReplayStep const& step) const;
    Time deadlineOf(Playing const& playing, ReplayStep const& step) const;
    ReplayScript::Start const* nextConnect();
    Time connectDeadline();
    Time wakeUp();
    void failWhenLate();
    void tell(ClientId client, TraceRecord record);

    EventLoop& loop;
    ReplayScript script;
    Options const options;
    Timeline& timeline;
    std::map<ClientId, Playing> played;
    Time lastEvent = EventLoop::Clock::now();
    size_t lastRecord = 0;
    Server server;
};

} // namespace zelobox

#endif
