#include "tests/simulation/World.h"

#include <signal.h>
#include <stdlib.h>

#include "tests/simulation/Child.h"
#include "tests/simulation/Host.h"
#include "tests/simulation/Library.h"
#include "tests/simulation/Memory.h"
#include "tests/simulation/Scenes.h"
#include "tests/simulation/Trace.h"

namespace simulation {

namespace {

World* current = nullptr;
uint64_t timeOfAllRuns = 0; ///< of every thread's vector clock; a run begins after everything before it

/// What strikes between two steps.
void strike()
{
    Faults& faults = world().faults;
    Scheduler& scheduler = world().scheduler;
    if (faults.strikes(Fault::Stall)) {
        int64_t const duration = 1 + faults.choose(20000);
        TRACE("   the processor is away for %lld us", static_cast<long long>(duration));
        scheduler.stall(duration);
    }
    if (faults.strikes(Fault::WallClock)) {
        int64_t const hours = static_cast<int64_t>(faults.choose(49)) - 24;
        TRACE("   the wall clock steps %lld h", static_cast<long long>(hours));
        scheduler.stepWallClock(hours * 3600 * 1000000);
    }
}

[[noreturn]] void onSignal(int signalNumber)
{
    if (current == nullptr || !current->scheduler.isInWorld()) {
        signal(signalNumber, SIG_DFL);
        raise(signalNumber);
        abort();
    }
    Fiber const& fiber = self();
    std::string const place = fiber.calls.top() == 0 ? "" : ", called from " + placeOf(fiber.calls.top());
    if (signalNumber == SIGABRT) {
        fail("terminated", "an exception that nobody catches, or a failed assertion, in " + fiber.name + place);
    }
    fail("memory", "an access to no memory at all by " + fiber.name + place);
}

void catchSignals()
{
    static bool const done = [] {
        static char stack[65536];
        stack_t const alternative = {stack, 0, sizeof stack};
        sigaltstack(&alternative, nullptr);
        struct sigaction action = {};
        action.sa_handler = onSignal;
        action.sa_flags = SA_ONSTACK | SA_NODEFER;
        sigaction(SIGSEGV, &action, nullptr);
        sigaction(SIGBUS, &action, nullptr);
        sigaction(SIGABRT, &action, nullptr);
        return true;
    }();
    static_cast<void>(done);
}

} // namespace

World::World(Decisions& runDecisions, uint64_t firstTime)
    : decisions(runDecisions), scheduler(runDecisions, memory().stacks(), firstTime), faults(runDecisions)
{
    scheduler.atStep = strike;
}

World& world()
{
    return *current;
}

bool isWorldThere()
{
    return current != nullptr;
}

void fail(std::string const& promise, std::string const& text)
{
    if (isWorldThere() && world().scheduler.isInWorld()) {
        if (isChild()) {
            endChild(text);
        }
        TRACE("BROKEN: %s: %s", promise.c_str(), text.c_str());
        self().inLibrary = false;
        world().finding.reset(new Finding{promise, text});
        leaveWorld();
    }
    throw Finding{promise, text};
}

Outcome runScene(Scene const& scene, Decisions& decisions, States* states)
{
    catchSignals();
    restoreGlobals();
    memory().beginRun(timeOfAllRuns);
    host::setCallbackVariety(0);
    World here(decisions, timeOfAllRuns);
    current = &here;
    if (scene.isSmall) {
        here.scheduler.beSmall();
    }
    here.scheduler.remember(states);
    here.scheduler.run(scene.play);
    current = nullptr;
    timeOfAllRuns = here.scheduler.latestTime() + 1;
    Outcome outcome;
    outcome.finding = std::move(here.finding);
    outcome.script = decisions.made();
    outcome.steps = here.scheduler.steps();
    outcome.hash = here.scheduler.scheduleHash();
    outcome.virtualTime = here.scheduler.now();
    outcome.faults = here.faults.counts();
    return outcome;
}

} // namespace simulation
