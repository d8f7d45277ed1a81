#include "zelobox/check/RunLog.h"

#include <algorithm>

#include "zelobox/check/FrameJudge.h"
#include "zelobox/protocol/MessageTable.h"

namespace zelobox {

unsigned RunLog::connect()
{
    TraceRecord record;
    record.event = TraceRecord::Event::Connected;
    take(++connections, std::move(record));
    return connections;
}

void RunLog::take(unsigned number, TraceRecord record)
{
    record.time = traceTime();
    record.connection = number;
    if (record.event == TraceRecord::Event::Frame && record.direction == Direction::ToHost) {
        events = events || record.frame.type != IPC_BROWSER_CONFIG;
        for (Finding const& finding : judgeFrame(record.frame)) {
            add(finding);
        }
    }
    if (onRecord) {
        onRecord(record);
    }
}

void RunLog::takeUnsubscribed(uint16_t type)
{
    Finding finding;
    finding.rule = Rule::KeepsToTheList;
    finding.message = messageName(type);
    finding.found = "sent to a client that has not subscribed to it";
    finding.expected = "the types of its list only";
    add(finding);
}

Findings RunLog::takeErrors(std::function<bool(Finding const&)> const& isWanted)
{
    auto const first =
        std::stable_partition(errors.begin(), errors.end(), [&](Finding const& finding) { return !isWanted(finding); });
    Findings taken(first, errors.end());
    errors.erase(first, errors.end());
    return taken;
}

void RunLog::add(Finding const& finding)
{
    if (known.insert(textOf(finding)).second) {
        (finding.isWarning ? implausible : errors).push_back(finding);
    }
}

} // namespace zelobox
