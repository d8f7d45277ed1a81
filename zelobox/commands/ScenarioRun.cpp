#include "zelobox/commands/ScenarioRun.h"

#include "zelobox/base/StopSignals.h"
#include "zelobox/scenario/HostProcess.h"
#include "zelobox/scenario/Player.h"

namespace zelobox {

namespace {

void play(Scenario const& scenario, HostOptions const& hostOptions, Timeline& timeline, Middleware::Observer* trace)
{
    EventLoop loop;
    StopSignals const signals(loop, [] { throw Interrupted(); });
    Middleware middleware(loop, defaultSocketPath, scenario.config);
    middleware.addObserver(timeline);
    if (trace != nullptr) {
        middleware.addObserver(*trace);
    }
    timeline.line("middleware", std::string("listens on ") + defaultSocketPath);
    HostProcess host(loop, timeline, hostOptions.arguments());
    Player(loop, middleware, host, timeline).play(scenario);
}

} // namespace

ScenarioResult runScenario(Scenario const& scenario, HostOptions const& hostOptions, Timeline& timeline,
                           Middleware::Observer* trace)
{
    auto const begin = EventLoop::Clock::now();
    ScenarioResult result;
    try {
        play(scenario, hostOptions, timeline, trace);
        timeline.line("scenario",
                      scenario.name + ": all " + std::to_string(scenario.steps.size()) + " steps as expected");
    } catch (StepFailure const& failure) {
        timeline.line("scenario", "failed");
        result = {failure.timedOut ? TimedOut : NotAsExpected, failure.what(), 0};
    } catch (Interrupted const&) {
        timeline.line("scenario", "interrupted");
        result = {WasInterrupted, "interrupted", 0};
    }
    result.seconds = std::chrono::duration<double>(EventLoop::Clock::now() - begin).count();
    return result;
}

} // namespace zelobox
