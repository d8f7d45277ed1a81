/// @file
/// The host's side of a scenario.
#ifndef ZELO_ZELOBOX_SCENARIOHOST_H
#define ZELO_ZELOBOX_SCENARIOHOST_H

#include <deque>
#include <string>

#include "zelobox/base/EventLoop.h"
#include "zelobox/protocol/Json.h"

namespace zelobox {

/// Something that was seen.
struct Report {
    Json fields; ///< {"callback":"key","key":13,...}
    EventLoop::Clock::time_point when = EventLoop::Clock::now();
};

class ScenarioHost {
public:
    /// Has the host carry out one command.
    virtual void call(std::string const& command) = 0;
    /// The scenario wants the host to report this next.
    ///
    /// @return whether reports come as `callbacks` and `results`, to be compared
    virtual bool expects(Json const& report) = 0;
    /// Lets the host end: it has no more commands.
    ///
    /// @return whether its end is to be waited for and judged
    virtual bool finish() = 0;

    virtual bool hasEnded() const = 0;
    /// @return "exit status 0"
    virtual std::string ending() const = 0;
    virtual int exitStatus() const = 0;

    std::deque<Report> callbacks; ///< {"callback":"key","key":13,...}, oldest first
    std::deque<Report> results;   ///< {"result":"volume",...}, oldest first

protected:
    ~ScenarioHost() = default;
};

} // namespace zelobox

#endif
