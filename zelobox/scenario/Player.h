/// @file
/// The player of scenarios.
#ifndef ZELO_ZELOBOX_PLAYER_H
#define ZELO_ZELOBOX_PLAYER_H

#include <deque>
#include <stdexcept>

#include "zelobox/middleware/Middleware.h"
#include "zelobox/middleware/Timeline.h"
#include "zelobox/scenario/Scenario.h"
#include "zelobox/scenario/ScenarioHost.h"

namespace zelobox {

/// A step did not come out as the scenario says. The text names step, expected and actual.
class StepFailure : public std::runtime_error {
public:
    StepFailure(std::string const& text, bool isTimeOut) : std::runtime_error(text), timedOut(isTimeOut) {}
    bool const timedOut; ///< nothing came at all
};

/// Ctrl-C.
class Interrupted : public std::runtime_error {
public:
    Interrupted() : std::runtime_error("interrupted") {}
};

/// Carries out scenarios with a middleware and a host.
///
/// What comes from the socket, the callbacks, and the answers to calls are three separate queues, each of which must come
/// exactly as expected, but for what is ignored; nothing may be left over.
class Player final : public Middleware::Observer {
public:
    Player(EventLoop& eventLoop, Middleware& middlewareSide, ScenarioHost& hostSide, Timeline& timeline);

    /// @throw StepFailure
    void play(Scenario const& scenario);

    /// Gives every expected thing so long, and the scenario no limit: people are slow.
    void setPatience(Milliseconds longest) { patience = longest; }
    /// Sends frames to everyone, subscribed or not.
    void sendToEveryone() { sendsToAll = true; }

    /// Carries out a step that needs no scenario around it: Say, Send or Fault.
    void carryOutAlone(Step const& step);

    void onTraffic(TraceRecord const& record) override;

private:
    using Time = EventLoop::Clock::time_point;

    void carryOut(Step const& step);
    void send(Step const& step);
    void expect(Step const& step);
    void passUntil(Step const& step);
    void stayQuiet(Step const& step);
    void finish();

    bool isJudged(Step const& step) const;
    std::deque<Report>& rowOf(Json const& expected);
    void leaveOutIgnored();
    void take(std::deque<Report>& row, Step const* step);
    std::string leftOver();
    std::string nothingFor(Step const& step) const;
    std::string whenElse(Step const& step);
    std::string placeOf(Time when) const;
    Time within(Milliseconds duration) const;
    Milliseconds timeFor(Step const& step) const;
    [[noreturn]] void fail(Step const& step, std::string const& expected, std::string const& actual, bool timedOut);

    struct Taken {
        Report report;
        unsigned line = 0; // of the step that it was taken for; 0: none, it was passed over
    };
    struct Begun {
        Time when;
        size_t number; // of the step, from 1
        unsigned line;
    };

    EventLoop& loop;
    Middleware& middleware;
    ScenarioHost& host;
    Timeline& shown;
    std::deque<Report> traffic; ///< {"frame":"IPC_VOLUME",...}, {"connection":"connected"}
    std::vector<Json> ignored;
    std::vector<Taken> taken;
    std::vector<Begun> begun;
    Scenario const* current = nullptr;
    Time limit;
    Milliseconds patience{0};
    bool sendsToAll = false;
    bool isPlaying = false;
};

} // namespace zelobox

#endif
