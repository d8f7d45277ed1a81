/// @file
/// The log of one run of the check: all that crossed the socket, with what is wrong with it.
#ifndef ZELO_ZELOBOX_RUNLOG_H
#define ZELO_ZELOBOX_RUNLOG_H

#include <functional>
#include <map>
#include <set>

#include "zelobox/check/Finding.h"
#include "zelobox/protocol/Trace.h"

namespace zelobox {

/// Judges each frame from the middleware as it comes. The same finding counts once, however often it comes.
class RunLog {
public:
    using OnRecord = std::function<void(TraceRecord const&)>;

    /// @param recordTaker  is given all traffic, in order; may be empty
    explicit RunLog(OnRecord recordTaker = nullptr) : onRecord(std::move(recordTaker)) {}

    /// @return the number of a new connection
    unsigned connect();
    /// Takes a record of connection @p number; its time is now.
    void take(unsigned number, TraceRecord record);
    /// A client was sent @p type without having subscribed to it.
    void takeUnsubscribed(uint16_t type);

    /// @return the errors that @p isWanted and that have not been taken before
    Findings takeErrors(std::function<bool(Finding const&)> const& isWanted);
    Findings const& warnings() const { return implausible; }
    /// @return whether the middleware has sent anything but the configuration
    bool hasEvents() const { return events; }

private:
    void add(Finding const& finding);

    OnRecord onRecord;
    unsigned connections = 0;
    bool events = false;
    std::set<std::string> known;
    Findings errors;
    Findings implausible;
};

} // namespace zelobox

#endif
