#include "zelobox/capture/ReplayScript.h"

#include <map>
#include <optional>

namespace zelobox {

namespace {

using Event = TraceRecord::Event;
using Kind = ReplayStep::Kind;

std::optional<ReplayStep> stepOf(TraceRecord const& record, std::set<uint16_t> const& ignored)
{
    ReplayStep step;
    bool const toHost = record.direction == Direction::ToHost;
    if (record.event == Event::Disconnected) {
        bool const byLibrary = record.reason.rfind("closed by the client", 0) == 0;
        step.kind = byLibrary ? Kind::ExpectClose : Kind::Close;
    } else if (record.event == Event::Frame && toHost) {
        step.bytes = bytesOf(record.frame);
    } else if (record.event == Event::Frame && ignored.count(record.frame.type) == 0) {
        step.kind = Kind::Expect;
        step.frame = record.frame;
    } else if (record.event == Event::Raw && toHost) {
        step.bytes = record.bytes;
    } else {
        return std::nullopt;
    }
    return step;
}

} // namespace

std::vector<ReplayConnection> replayScript(std::vector<TraceRecord> const& records, std::set<uint16_t> const& ignored)
{
    struct Place {
        size_t index;
        int64_t begin;
        int64_t last;
    };
    std::map<unsigned, Place> places;
    std::vector<ReplayConnection> connections;
    int64_t before = records.empty() ? 0 : records.front().time;
    for (size_t i = 0; i < records.size(); ++i) {
        TraceRecord const& record = records[i];
        auto const [found, isNew] =
            places.emplace(record.connection, Place{connections.size(), record.time, record.time});
        Place& place = found->second;
        if (isNew) {
            connections.push_back({i + 1, record.time - before, {}});
        }
        if (std::optional<ReplayStep> step = stepOf(record, ignored)) {
            step->record = i + 1;
            step->offset = record.time - place.begin;
            step->gap = record.time - place.last;
            connections[place.index].steps.push_back(std::move(*step));
            place.last = record.time;
        }
        before = record.time;
    }
    return connections;
}

} // namespace zelobox
