#include "zelobox/scenario/Player.h"

#include <algorithm>
#include <cstdlib>
#include <functional>

#include "zelobox/middleware/FaultModes.h"
#include "zelobox/protocol/FrameJson.h"
#include "zelobox/protocol/MessageTable.h"

namespace zelobox {

namespace {

unsigned const hostEndMs = 5000;
/// So long a failure waits for what was expected, to say that it comes later.
unsigned const lateMs = 500;

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
    case Step::Kind::Until:
        return "until " + lineOf(step.body);
    case Step::Kind::Quiet:
        return "quiet for " + std::to_string(step.ms) + " ms";
    case Step::Kind::Wait:
        return "wait " + std::to_string(step.ms) + " ms";
    case Step::Kind::Call:
        return "call " + step.text;
    case Step::Kind::Ignore:
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
    isPlaying = true;
    bool const isLimited = patience == Milliseconds(0);
    limit = isLimited ? EventLoop::Clock::now() + Milliseconds(scenario.limitMs) : Time::max();
    middleware.setAnswering(scenario.answering);
    middleware.setBriefing(false); // a scenario says itself what is sent
    ignored.clear();
    for (Step const& step : scenario.steps) {
        begun.push_back({EventLoop::Clock::now(), begun.size() + 1, step.line});
        carryOut(step);
    }
    finish();
}

void Player::onTraffic(TraceRecord const& record)
{
    bool const isOwn = record.direction == Direction::ToHost;
    if (!isPlaying) {
        return; // nobody would ever take it
    }
    if (record.event == TraceRecord::Event::Raw || (record.event == TraceRecord::Event::Frame && isOwn)) {
        return;
    }
    traffic.push_back({reportOf(record)});
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
    case Step::Kind::Until:
        return passUntil(step);
    case Step::Kind::Ignore:
        ignored.push_back(step.body);
        return;
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

/// What only a person can see at the host is said, and not judged.
bool Player::isJudged(Step const& step) const
{
    bool const isOfHost = !step.body.contains("frame") && !step.body.contains("connection");
    return !isOfHost || host.expects(step.body);
}

void Player::expect(Step const& step)
{
    if (!isJudged(step)) {
        return;
    }
    std::deque<Report>& row = rowOf(step.body);
    loop.run(within(timeFor(step)), [&] {
        leaveOutIgnored();
        return !row.empty() || host.hasEnded();
    });
    if (row.empty()) {
        fail(step, lineOf(step.body), nothingFor(step), !host.hasEnded());
    }
    if (Json const actual = row.front().fields; !matches(step.body, actual)) {
        fail(step, lineOf(step.body), lineOf(actual), false);
    }
    take(row, &step);
}

void Player::passUntil(Step const& step)
{
    if (!isJudged(step)) {
        return;
    }
    std::deque<Report>& row = rowOf(step.body);
    size_t passed = 0;
    std::string last;
    bool const came = loop.run(within(timeFor(step)), [&] {
        for (; !row.empty() && !matches(step.body, row.front().fields); ++passed) {
            last = lineOf(row.front().fields);
            take(row, nullptr);
        }
        return !row.empty() || host.hasEnded();
    });
    if (row.empty()) {
        std::string const others = passed == 0 ? "" : "; " + std::to_string(passed) + " others, the last one " + last;
        fail(step, lineOf(step.body), nothingFor(step) + others, !came);
    }
    take(row, &step);
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

std::deque<Report>& Player::rowOf(Json const& expected)
{
    if (expected.contains("callback")) {
        return host.callbacks;
    }
    return expected.contains("result") ? host.results : traffic;
}

void Player::leaveOutIgnored()
{
    auto const isIgnored = [this](Report const& report) {
        return std::any_of(ignored.begin(), ignored.end(),
                           [&report](Json const& pattern) { return matches(pattern, report.fields); });
    };
    for (std::deque<Report>* const row : {&traffic, &host.callbacks, &host.results}) {
        auto const first = std::stable_partition(row->begin(), row->end(), std::not_fn(isIgnored));
        std::for_each(first, row->end(), [this](Report& report) { taken.push_back({std::move(report), 0}); });
        row->erase(first, row->end());
    }
}

/// @param step  what it was expected by; null for what is passed over
void Player::take(std::deque<Report>& row, Step const* step)
{
    taken.push_back({std::move(row.front()), step != nullptr ? step->line : 0});
    row.pop_front();
}

/// @return the oldest thing that nobody has expected, empty if there is none
std::string Player::leftOver()
{
    leaveOutIgnored();
    for (std::deque<Report> const* const row : {&traffic, &host.callbacks, &host.results}) {
        if (!row->empty()) {
            return lineOf(row->front().fields);
        }
    }
    return std::string();
}

std::string Player::nothingFor(Step const& step) const
{
    return host.hasEnded() ? "the host has ended: " + host.ending()
                           : "nothing within " + std::to_string(timeFor(step).count()) + " ms";
}

/// @return when it came that a step waits for in vain, if it did
std::string Player::whenElse(Step const& step)
{
    Time const now = EventLoop::Clock::now();
    auto const fits = [&step](Report const& report) { return matches(step.body, report.fields); };
    auto const ago = [now](Report const& report) {
        auto const distance = std::chrono::duration_cast<Milliseconds>(now - report.when);
        return std::to_string(std::abs(distance.count())) + " ms " + (report.when < now ? "earlier" : "later");
    };
    std::deque<Report>& row = rowOf(step.body);
    loop.run(now + Milliseconds(lateMs), [&] { return std::any_of(row.begin(), row.end(), fits) || host.hasEnded(); });
    auto const waiting = std::find_if(row.begin(), row.end(), fits);
    if (waiting != row.end()) {
        return "it came " + ago(*waiting) + ", behind something else";
    }
    auto const found =
        std::find_if(taken.rbegin(), taken.rend(), [&fits](Taken const& each) { return fits(each.report); });
    if (found == taken.rend()) {
        return "";
    }
    return "it came " + ago(found->report) + ", " + placeOf(found->report.when) +
           (found->line == 0 ? ", and was passed over" : ", and was taken for line " + std::to_string(found->line));
}

/// @return "before step 12 (line 14)"
std::string Player::placeOf(Time when) const
{
    auto const after = std::find_if(begun.begin(), begun.end(), [when](Begun const& each) { return each.when > when; });
    Begun const& step = after != begun.end() ? *after : begun.back();
    return std::string(after != begun.end() ? "before" : "during") + " step " + std::to_string(step.number) +
           " (line " + std::to_string(step.line) + ")";
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
    std::string text =
        current->source + " line " + std::to_string(step.line) + ": " + describe(step) + "\n  expected: " + expected +
        "\n  actual:   " + (overLimit ? "the limit of " + std::to_string(current->limitMs) + " ms has passed" : actual);
    bool const isAwaited = step.kind == Step::Kind::Expect || step.kind == Step::Kind::Until;
    std::string const elsewhere = isAwaited ? whenElse(step) : "";
    throw StepFailure(text + (elsewhere.empty() ? "" : "\n  but:      " + elsewhere), timedOut);
}

} // namespace zelobox
