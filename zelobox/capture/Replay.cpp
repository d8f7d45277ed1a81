#include "zelobox/capture/Replay.h"

#include <algorithm>

#include "zelobox/protocol/FrameJson.h"
#include "zelobox/protocol/FrameReader.h"

namespace zelobox {

namespace {

using Clock = EventLoop::Clock;
using Microseconds = std::chrono::microseconds;

int const mostStepsInATurn = 256; // others have their turn, too

std::string placeOf(ClientId client, size_t record)
{
    return "record " + std::to_string(record) + ", connection " + std::to_string(client) + ": ";
}

ReplayFailure difference(ClientId client, ReplayStep const& step, std::string const& expected,
                         std::string const& actual)
{
    return {placeOf(client, step.record) + "the library does something else than it did\n  expected: " + expected +
                "\n  actual:   " + actual,
            true};
}

std::string expectationOf(ReplayStep const& step)
{
    switch (step.kind) {
    case ReplayStep::Kind::Expect:
        return textOf(step.frame);
    case ReplayStep::Kind::ExpectClose:
        return "closes the connection";
    default:
        return "reads what it is sent";
    }
}

ReplayFailure lateness(std::string const& place, std::string const& expected)
{
    return {place + "the library is too late\n  expected: " + expected + "\n  actual:   nothing", false};
}

TraceRecord eventOf(TraceRecord::Event event, std::string const& reason = "")
{
    TraceRecord record;
    record.event = event;
    record.reason = reason;
    return record;
}

TraceRecord frameFrom(Frame const& frame)
{
    TraceRecord record;
    record.direction = Direction::ToMiddleware;
    record.frame = frame;
    return record;
}

/// Bytes that the middleware sends.
TraceRecord sentRecord(std::vector<char> const& bytes)
{
    TraceRecord record;
    std::optional<Frame> const frame = frameFromBytes(bytes);
    record.event = frame ? TraceRecord::Event::Frame : TraceRecord::Event::Raw;
    record.frame = frame.value_or(Frame());
    record.bytes = bytes;
    return record;
}

} // namespace

Replay::Replay(EventLoop& eventLoop, std::string const& path, ReplayScript::NextRecord nextRecord,
               Options const& wanted, Timeline& output)
    : loop(eventLoop), script(std::move(nextRecord), wanted.ignored), options(wanted), timeline(output),
      server(eventLoop, *this, path)
{
}

void Replay::run()
{
    bool isMoreDue = false;
    while (!isDone()) {
        loop.turn(isMoreDue ? Clock::now() : wakeUp());
        isMoreDue = false;
        for (auto const& each : played) {
            isMoreDue = advance(each.first) || isMoreDue;
        }
        failWhenLate();
    }
}

void Replay::onConnected(ClientId client)
{
    if (!script.hasConnection(client)) {
        throw ReplayFailure(
            "the library connects more often than the " + std::to_string(client - 1) + " times that it did", true);
    }
    Playing& playing = played[client];
    playing.begin = playing.last = lastEvent = Clock::now();
    tell(client, eventOf(TraceRecord::Event::Connected));
}

void Replay::onFrame(ClientId client, Frame const& frame)
{
    tell(client, frameFrom(frame));
    if (options.ignored.count(frame.type) == 0) {
        played.at(client).arrived.push_back(frame);
    }
}

void Replay::onDisconnected(ClientId client, std::string const& reason)
{
    tell(client, eventOf(TraceRecord::Event::Disconnected, reason));
    played.at(client).lost = reason;
}

bool Replay::isDone()
{
    bool const isPlayed = std::all_of(played.begin(), played.end(),
                                      [this](auto const& each) { return script.stepOf(each.first) == nullptr; });
    return isPlayed && !script.hasConnection(static_cast<unsigned>(played.size()) + 1);
}

/// @return whether another step may be due at once
bool Replay::advance(ClientId client)
{
    Playing& playing = played.at(client);
    for (int count = 0; count < mostStepsInATurn; ++count) {
        ReplayStep const* const step = script.stepOf(client);
        if (step == nullptr || !take(client, *step)) {
            return false;
        }
        lastRecord = step->record;
        script.pop(client);
        playing.last = lastEvent = Clock::now();
    }
    return true;
}

bool Replay::take(ClientId client, ReplayStep const& step)
{
    switch (step.kind) {
    case Kind::Send:
        return takeSend(client, step);
    case Kind::Expect:
        return takeFrame(client, step);
    case Kind::Close:
        return takeClose(client, step);
    case Kind::ExpectClose:
        break;
    }
    return takeEnd(client, step);
}

bool Replay::takeSend(ClientId client, ReplayStep const& step)
{
    if (!isDue(client, step) || !server.hasTakenAll(client)) {
        return false; // or a long trace would wait in memory for a library that reads slowly
    }
    // The library may have closed by now. The recorded one may have, too, when this was sent: that is no difference.
    server.send(client, step.bytes);
    tell(client, sentRecord(step.bytes));
    return true;
}

bool Replay::takeFrame(ClientId client, ReplayStep const& step)
{
    Playing& playing = played.at(client);
    if (playing.arrived.empty()) {
        if (playing.lost) {
            throw difference(client, step, expectationOf(step), *playing.lost);
        }
        return false;
    }
    Frame const actual = playing.arrived.front();
    playing.arrived.pop_front();
    if (!(actual == step.frame)) {
        throw difference(client, step, textOf(step.frame), textOf(actual));
    }
    return true;
}

/// What has come in the meantime may have been on its way then, too.
bool Replay::takeClose(ClientId client, ReplayStep const& step)
{
    Playing const& playing = played.at(client);
    if (playing.lost) {
        throw difference(client, step, "stays connected until the middleware closes", *playing.lost);
    }
    if (!isDue(client, step) || !server.hasTakenAll(client)) {
        return false;
    }
    server.disconnect(client);
    tell(client, eventOf(TraceRecord::Event::Disconnected, "closed by the middleware"));
    return true;
}

/// Nothing follows the end of the last connection, so it need not come.
bool Replay::takeEnd(ClientId client, ReplayStep const& step)
{
    Playing const& playing = played.at(client);
    if (!playing.arrived.empty()) {
        throw difference(client, step, expectationOf(step), textOf(playing.arrived.front()));
    }
    return playing.lost || (isDue(client, step) && !script.hasConnection(client + 1));
}

bool Replay::isDue(ClientId client, ReplayStep const& step) const
{
    return options.fast || Clock::now() >= played.at(client).begin + Microseconds(step.offset);
}

Replay::Time Replay::deadlineOf(Playing const& playing, ReplayStep const& step) const
{
    return playing.last + Microseconds(step.gap) + options.tolerance;
}

/// @return the connect that is next in the trace; null when something else is
ReplayScript::Start const* Replay::nextConnect()
{
    size_t first = SIZE_MAX;
    for (auto const& each : played) {
        ReplayStep const* const step = script.stepOf(each.first);
        first = std::min(first, step != nullptr ? step->record : SIZE_MAX);
    }
    auto const number = static_cast<unsigned>(played.size()) + 1;
    if (first == SIZE_MAX) {
        script.hasConnection(number);
    }
    ReplayScript::Start const* const start = script.startOf(number);
    return start != nullptr && start->record < first ? start : nullptr;
}

Replay::Time Replay::connectDeadline()
{
    ReplayScript::Start const* const start = nextConnect();
    if (start == nullptr || (played.empty() && options.firstWithin.count() == 0)) {
        return Time::max();
    }
    return lastEvent + (played.empty() ? options.firstWithin : Microseconds(start->gap) + options.tolerance);
}

Replay::Time Replay::wakeUp()
{
    Time first = connectDeadline();
    for (auto const& [client, playing] : played) {
        ReplayStep const* const step = script.stepOf(client);
        if (step == nullptr) {
            continue;
        }
        bool const waits = step->kind == Kind::Expect || isDue(client, *step);
        first = std::min(first, waits ? deadlineOf(playing, *step) : playing.begin + Microseconds(step->offset));
    }
    return first;
}

void Replay::failWhenLate()
{
    Time const now = Clock::now();
    for (auto const& [client, playing] : played) {
        ReplayStep const* const step = script.stepOf(client);
        bool const waits = step != nullptr && (step->kind == Kind::Expect || isDue(client, *step));
        if (waits && now >= deadlineOf(playing, *step)) {
            throw lateness(placeOf(client, step->record), expectationOf(*step));
        }
    }
    if (now >= connectDeadline()) {
        throw lateness("record " + std::to_string(nextConnect()->record) + ": ", "connects");
    }
}

void Replay::tell(ClientId client, TraceRecord record)
{
    if (options.quiet && (record.event == TraceRecord::Event::Frame || record.event == TraceRecord::Event::Raw)) {
        return;
    }
    record.time = traceTime();
    record.connection = client;
    timeline.onTraffic(record);
}

} // namespace zelobox
