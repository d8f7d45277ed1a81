#include "zelobox/scenario/Player.h"

#include <algorithm>

#include "zelobox/middleware/FaultModes.h"
#include "zelobox/protocol/FrameJson.h"
#include "zelobox/protocol/MessageTable.h"

namespace zelobox {

namespace {

unsigned const hostEndMs = 5000;

/// @return whether @p actual has every field of @p expected
bool matches(Json const& expected, Json const& actual)
{
    for (auto const& field : expected.items()) {
        if (!actual.contains(field.key()) || actual[field.key()] != field.value()) {
            return false;
        }
    }
    return true;
}

Json reportOf(TraceRecord const& record)
{
    if (record.event == TraceRecord::Event::Frame) {
        Json report = {{"frame", messageName(record.frame.type)}};
        report.update(record.fields());
        return report;
    }
    bool const connected = record.event == TraceRecord::Event::Connected;
    Json report = {{"connection", connected ? "connected" : "disconnected"}};
    if (!connected) {
        report["reason"] = record.reason;
    }
    return report;
}

std::string describe(Step const& step)
{
    switch (step.kind) {
    case Step::Kind::Send:
        return "send " + lineOf(step.body);
    case Step::Kind::Expect:
        return "expect " + lineOf(step.body);
    case Step::Kind::Quiet:
        return "quiet for " + std::to_string(step.ms) + " ms";
    case Step::Kind::Wait:
        return "wait " + std::to_string(step.ms) + " ms";
    case Step::Kind::Call:
        return "call " + step.text;
    case Step::Kind::Say:
    case Step::Kind::Fault:
        break;
    }
    return step.text;
}

} // namespace

Player::Player(EventLoop& eventLoop, Middleware& middlewareSide, ScenarioHost& hostSide, Timeline& timeline)
    : loop(eventLoop), middleware(middlewareSide), host(hostSide), shown(timeline)
{
    middleware.addObserver(*this);
}

void Player::play(Scenario const& scenario)
{
    current = &scenario;
    bool const isLimited = patience == Milliseconds(0);
    limit = isLimited ? EventLoop::Clock::now() + Milliseconds(scenario.limitMs) : Time::max();
    middleware.setAnswering(scenario.answering);
    for (Step const& step : scenario.steps) {
        carryOut(step);
    }
    finish();
}

void Player::onTraffic(TraceRecord const& record)
{
    bool const isOwn = record.direction == Direction::ToHost;
    if (record.event == TraceRecord::Event::Raw || (record.event == TraceRecord::Event::Frame && isOwn)) {
        return;
    }
    traffic.push_back(reportOf(record));
}

void Player::carryOut(Step const& step)
{
    switch (step.kind) {
    case Step::Kind::Say:
        return shown.heading(step.text);
    case Step::Kind::Call:
        return host.call(step.text);
    case Step::Kind::Send:
        return send(step);
    case Step::Kind::Expect:
        return expect(step);
    case Step::Kind::Quiet:
        return stayQuiet(step);
    case Step::Kind::Wait:
        loop.run(within(Milliseconds(step.ms)), [] { return false; });
        return;
    case Step::Kind::Fault:
        return middleware.apply(findFaultMode(step.text)->what);
    }
}

void Player::send(Step const& step)
{
    JsonFields fields(step.body, "send");
    Frame const frame = frameFrom(fields, middleware.state().config);
    size_t const receivers = step.everyone || sendsToAll ? middleware.sendToAll(frame) : middleware.send(frame);
    if (receivers == 0) {
        fail(step, "a client that has subscribed to " + messageName(frame.type), "none", false);
    }
}

void Player::expect(Step const& step)
{
    bool const isOfHost = !step.body.contains("frame") && !step.body.contains("connection");
    if (isOfHost && !host.expects(step.body)) {
        return;
    }
    std::deque<Json>& row = rowOf(step.body);
    loop.run(within(timeFor(step)), [&] { return !row.empty() || host.hasEnded(); });
    if (row.empty()) {
        std::string const actual = host.hasEnded() ? "the host has ended: " + host.ending()
                                                   : "nothing within " + std::to_string(timeFor(step).count()) + " ms";
        fail(step, lineOf(step.body), actual, !host.hasEnded());
    }
    Json const actual = row.front();
    row.pop_front();
    if (!matches(step.body, actual)) {
        fail(step, lineOf(step.body), lineOf(actual), false);
    }
}

void Player::stayQuiet(Step const& step)
{
    loop.run(within(Milliseconds(step.ms)), [this] { return !leftOver().empty() || host.hasEnded(); });
    if (!leftOver().empty() || host.hasEnded()) {
        fail(step, "nothing for " + std::to_string(step.ms) + " ms",
             host.hasEnded() ? "the host has ended: " + host.ending() : leftOver(), false);
    }
}

void Player::carryOutAlone(Step const& step)
{
    static Scenario const none = {"input", "", "", true, 0, {}, {}};
    current = &none;
    limit = Time::max();
    carryOut(step);
}

/// A host of ours ends when it has no more commands, and nobody has anything else to say.
void Player::finish()
{
    Step last = {};
    last.kind = Step::Kind::Say;
    last.text = "the end of the scenario";
    last.line = current->steps.empty() ? 1 : current->steps.back().line + 1;
    if (!host.finish()) {
        return;
    }
    if (!loop.run(within(Milliseconds(hostEndMs)),
                  [this] { return host.hasEnded() && middleware.clients().empty(); })) {
        fail(last, "the host ends", "it still runs", true);
    }
    if (host.exitStatus() != 0) {
        fail(last, "the host ends with exit status 0", host.ending(), false);
    }
    if (!leftOver().empty()) {
        fail(last, "nothing more", leftOver(), false);
    }
}

std::deque<Json>& Player::rowOf(Json const& expected)
{
    if (expected.contains("callback")) {
        return host.callbacks;
    }
    return expected.contains("result") ? host.results : traffic;
}

/// @return the oldest thing that nobody has expected, empty if there is none
std::string Player::leftOver() const
{
    std::deque<Json> const* const rows[] = {&traffic, &host.callbacks, &host.results};
    for (std::deque<Json> const* const row : rows) {
        if (!row->empty()) {
            return lineOf(row->front());
        }
    }
    return std::string();
}

Milliseconds Player::timeFor(Step const& step) const
{
    return std::max(patience, Milliseconds(step.ms));
}

Player::Time Player::within(Milliseconds duration) const
{
    return std::min(limit, EventLoop::Clock::now() + duration);
}

void Player::fail(Step const& step, std::string const& expected, std::string const& actual, bool timedOut)
{
    bool const overLimit = timedOut && EventLoop::Clock::now() >= limit;
    throw StepFailure(current->source + " line " + std::to_string(step.line) + ": " + describe(step) +
                          "\n  expected: " + expected + "\n  actual:   " +
                          (overLimit ? "the limit of " + std::to_string(current->limitMs) + " ms has passed" : actual),
                      timedOut);
}

} // namespace zelobox
