#include "zelobox/capture/Replay.h"

#include <algorithm>

#include "zelobox/protocol/FrameJson.h"
#include "zelobox/protocol/FrameReader.h"

namespace zelobox {

namespace {

using Clock = EventLoop::Clock;
using Microseconds = std::chrono::microseconds;

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

Replay::Replay(EventLoop& eventLoop, std::string const& path, std::vector<TraceRecord> const& trace,
               Options const& wanted, Timeline& output)
    : loop(eventLoop), script(replayScript(trace, wanted.ignored)), options(wanted), timeline(output),
      server(eventLoop, *this, path)
{
}

void Replay::run()
{
    while (!isDone()) {
        loop.turn(wakeUp());
        for (auto const& each : played) {
            advance(each.first);
        }
        failWhenLate();
    }
}

void Replay::onConnected(ClientId client)
{
    if (client > script.size()) {
        throw ReplayFailure(
            "the library connects more often than the " + std::to_string(script.size()) + " times that it did", true);
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

bool Replay::isDone() const
{
    return played.size() == script.size() && std::all_of(played.begin(), played.end(), [this](auto const& each) {
               return each.second.next == stepsOf(each.first).size();
           });
}

void Replay::advance(ClientId client)
{
    Playing& playing = played.at(client);
    std::vector<ReplayStep> const& steps = stepsOf(client);
    while (playing.next < steps.size() && take(client, steps[playing.next])) {
        ++playing.next;
        playing.last = lastEvent = Clock::now();
    }
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
    if (!isDue(client, step)) {
        return false;
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
    return playing.lost || (client == script.size() && isDue(client, step));
}

bool Replay::isDue(ClientId client, ReplayStep const& step) const
{
    return options.fast || Clock::now() >= played.at(client).begin + Microseconds(step.offset);
}

Replay::Time Replay::deadlineOf(Playing const& playing, ReplayStep const& step) const
{
    return playing.last + Microseconds(step.gap) + options.tolerance;
}

Replay::Time Replay::connectDeadline() const
{
    if (played.size() == script.size()) {
        return Time::max();
    }
    if (played.empty()) {
        return options.firstWithin.count() == 0 ? Time::max() : lastEvent + options.firstWithin;
    }
    return lastEvent + Microseconds(script[played.size()].gap) + options.tolerance;
}

Replay::Time Replay::wakeUp() const
{
    Time first = connectDeadline();
    for (auto const& [client, playing] : played) {
        if (playing.next == stepsOf(client).size()) {
            continue;
        }
        ReplayStep const& step = stepsOf(client)[playing.next];
        bool const waits = step.kind == Kind::Expect || isDue(client, step);
        first = std::min(first, waits ? deadlineOf(playing, step) : playing.begin + Microseconds(step.offset));
    }
    return first;
}

void Replay::failWhenLate() const
{
    Time const now = Clock::now();
    for (auto const& [client, playing] : played) {
        if (playing.next == stepsOf(client).size()) {
            continue;
        }
        ReplayStep const& step = stepsOf(client)[playing.next];
        bool const waits = step.kind == Kind::Expect || isDue(client, step);
        if (waits && now >= deadlineOf(playing, step)) {
            throw lateness(placeOf(client, step.record), expectationOf(step));
        }
    }
    if (now >= connectDeadline()) {
        throw lateness("record " + std::to_string(script[played.size()].record) + ": ", "connects");
    }
}

void Replay::tell(ClientId client, TraceRecord record)
{
    record.time = traceTime();
    record.connection = client;
    timeline.onTraffic(record);
}

} // namespace zelobox
