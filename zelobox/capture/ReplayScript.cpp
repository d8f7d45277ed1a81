#include "zelobox/capture/ReplayScript.h"

namespace zelobox {

namespace {

using Event = TraceRecord::Event;
using Kind = ReplayStep::Kind;

std::optional<ReplayStep> stepFrom(TraceRecord const& record, std::set<uint16_t> const& ignored)
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

bool ReplayScript::hasConnection(unsigned number)
{
    while (connections.size() < number && read()) {
    }
    return connections.size() >= number;
}

ReplayScript::Start const* ReplayScript::startOf(unsigned number) const
{
    return number <= connections.size() ? &connections[number - 1].start : nullptr;
}

ReplayStep const* ReplayScript::stepOf(unsigned number)
{
    Connection const& connection = connections[number - 1];
    while (connection.steps.empty() && !connection.isOver && read()) {
    }
    return connection.steps.empty() ? nullptr : &connection.steps.front();
}

/// @return false at the end of the trace
bool ReplayScript::read()
{
    std::optional<TraceRecord> const record = atEnd ? std::nullopt : source();
    atEnd = !record;
    if (atEnd) {
        return false;
    }
    ++count;
    Connection& connection = connectionOf(*record);
    if (std::optional<ReplayStep> step = stepFrom(*record, ignored)) {
        step->record = count;
        step->offset = record->time - connection.begin;
        step->gap = record->time - connection.last;
        connection.last = record->time;
        connection.steps.push_back(std::move(*step));
    }
    if (record->event == Event::Disconnected) {
        connection.isOver = true;
        open.erase(record->connection); // the number may come again, in a trace that goes on with another one
    }
    before = record->time;
    return true;
}

ReplayScript::Connection& ReplayScript::connectionOf(TraceRecord const& record)
{
    auto const [found, isNew] = open.emplace(record.connection, connections.size());
    if (isNew) {
        connections.emplace_back();
        connections.back().start = {count, count == 1 ? 0 : record.time - before};
        connections.back().begin = connections.back().last = record.time;
    }
    return connections[found->second];
}

} // namespace zelobox
