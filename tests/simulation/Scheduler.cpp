#include "tests/simulation/Scheduler.h"

#include <algorithm>
#include <utility>

#include "tests/simulation/Findings.h"
#include "tests/simulation/Trace.h"

namespace simulation {

namespace {

uint64_t const stepLimit = 3000000;

} // namespace

uint8_t* Scheduler::coverage = nullptr;

Scheduler::Scheduler(Decisions& runDecisions, char* stackMemory, uint64_t firstTime)
    : decisions(runDecisions), stacks(stackMemory), fibers(maxThreads)
{
    for (size_t i = 0; i < fibers.size(); ++i) {
        fibers[i].number = static_cast<int>(i);
        fibers[i].clock.fill(firstTime);
    }
}

Fiber& Scheduler::freeFiber()
{
    for (Fiber& fiber : fibers) {
        bool const isFree = fiber.state == Fiber::State::Unused ||
                            (fiber.state == Fiber::State::Ended && (fiber.joined || fiber.role != Role::Library));
        if (isFree && &fiber != running) {
            used = std::max(used, static_cast<size_t>(fiber.number) + 1);
            return fiber;
        }
    }
    fail("threads", "more than " + std::to_string(fibers.size()) + " threads at one time");
}

Fiber& Scheduler::spawn(Role role, std::string const& name, std::function<void()> body)
{
    if (isAlone) {
        fail("child", "a thread is made in a forked child");
    }
    Fiber& fiber = freeFiber();
    // The clock of the thread that had the number before stays in: the stack has its traces.
    VectorClock clock = fiber.clock;
    int const number = fiber.number;
    fiber = Fiber();
    fiber.number = number;
    fiber.role = role;
    fiber.name = name;
    fiber.identity = nextIdentity++;
    if (running != nullptr) {
        clock.join(running->clock);
        ++running->clock[static_cast<size_t>(running->number)];
        fiber.past = mixed(running->past, 1);
        running->past = mixed(running->past, 2);
    }
    ++clock[static_cast<size_t>(number)];
    fiber.clock = clock;
    fiber.body = [this, body] {
        if (!ending) {
            try {
                body();
            } catch (WorldEnds const&) {
            }
        }
        end();
    };
    fiber.state = Fiber::State::Ready;
    return fiber;
}

void Scheduler::run(std::function<void()> body)
{
    first = &spawn(Role::Host, "host", std::move(body));
    running = first;
    enterWorld(*first, stacks);
    running = nullptr;
}

void Scheduler::end()
{
    running->state = Fiber::State::Ended;
    endedPasts += mixed(running->past, 3);
    ending = ending || running == first;
    if (running == first && states != nullptr) {
        states->ended(state(false));
    }
    wake(running);
    chooseNext(false);
}

void Scheduler::release(VectorClock& clock)
{
    clock.join(running->clock);
    ++running->clock[static_cast<size_t>(running->number)];
}

uint64_t Scheduler::latestTime() const
{
    uint64_t latest = 0;
    for (Fiber const& fiber : fibers) {
        latest = std::max(latest, fiber.clock[static_cast<size_t>(fiber.number)]);
    }
    return latest;
}

void Scheduler::beAlone()
{
    isAlone = true;
    for (Fiber const& other : fibers) {
        running->clock.join(other.clock); // what the others had done is in the copy
    }
}

void Scheduler::step()
{
    if (ending || isAlone) {
        return;
    }
    ++stepCount;
    time += isSmall ? 0 : 1;
    if (stepCount > stepLimit) {
        fail("progress", "the run does not come to an end");
    }
    if (atStep) {
        atStep();
    }
    fireTimers();
    chooseNext(true);
}

void Scheduler::minorStep()
{
    if (!isSmall) {
        return step();
    }
    ++stepCount;
}

void Scheduler::touch(void const* object, bool isWrite)
{
    if (states == nullptr) {
        return;
    }
    uint64_t& last = objects[object];
    running->past = mixed(running->past, last);
    if (isWrite) {
        last = mixed(running->past, 4);
    }
}

void Scheduler::observe(uint64_t value)
{
    running->past = mixed(running->past, value);
}

/// @return a number that two schedules share only if every thread has done and seen the same
uint64_t Scheduler::state(bool currentGoesOn) const
{
    uint64_t sum = endedPasts + mixed(static_cast<uint64_t>(time), 5);
    for (size_t i = 0; i < used; ++i) {
        Fiber const& fiber = fibers[i];
        if (fiber.state == Fiber::State::Ready || fiber.state == Fiber::State::Blocked) {
            uint64_t const position = static_cast<uint64_t>(fiber.state) * 4 + (fiber.timedOut ? 2 : 0) +
                                      (currentGoesOn && &fiber == running ? 1 : 0);
            sum += mixed(mixed(fiber.past, position),
                         fiber.state == Fiber::State::Blocked ? static_cast<uint64_t>(fiber.deadline) : 0);
        }
    }
    return sum;
}

bool Scheduler::isNothingNew(bool currentGoesOn)
{
    size_t const made = decisions.made()[static_cast<size_t>(Kind::Schedule)].size();
    return states != nullptr && states->isKnown(state(currentGoesOn), made, decisions.preemptions());
}

bool Scheduler::block(void const* object, int64_t deadline, bool onWallClock)
{
    if (ending && running->role == Role::Peer) {
        throw WorldEnds();
    }
    if (isAlone) {
        fail("child", "the one thread of a forked child waits");
    }
    running->waitsFor = object;
    running->deadline = deadline;
    running->onWallClock = onWallClock;
    running->timedOut = false;
    running->state = Fiber::State::Blocked;
    nextDeadline = std::min(nextDeadline, deadline);
    Fiber* const self = running;
    chooseNext(false);
    bool const isLate = std::exchange(self->timedOut, false);
    if (deadline != never) {
        observe(isLate ? static_cast<uint64_t>(time) : 0);
    }
    if (ending && self->role == Role::Peer) {
        throw WorldEnds();
    }
    return !isLate;
}

void Scheduler::wake(void const* object)
{
    for (Fiber& fiber : fibers) {
        if (fiber.state == Fiber::State::Blocked && fiber.waitsFor == object) {
            fiber.state = Fiber::State::Ready;
        }
    }
}

bool Scheduler::isAnyBlockedOn(void const* object) const
{
    return std::any_of(fibers.begin(), fibers.end(), [&](Fiber const& fiber) {
        return fiber.state == Fiber::State::Blocked && fiber.waitsFor == object && fiber.role != Role::Peer;
    });
}

void Scheduler::sleepUntil(int64_t deadline)
{
    block(running, deadline);
}

void Scheduler::stepWallClock(int64_t by)
{
    wallOffset += by;
    for (Fiber& fiber : fibers) {
        if (fiber.state == Fiber::State::Blocked && fiber.onWallClock && fiber.deadline != never) {
            fiber.deadline -= by;
            nextDeadline = std::min(nextDeadline, fiber.deadline);
        }
    }
}

void Scheduler::stall(int64_t duration)
{
    time += duration;
    stallTime += duration;
}

void Scheduler::fireTimers()
{
    if (time < nextDeadline) {
        return;
    }
    nextDeadline = never;
    for (Fiber& fiber : fibers) {
        if (fiber.state != Fiber::State::Blocked) {
            continue;
        }
        if (fiber.deadline <= time) {
            fiber.timedOut = true;
            fiber.state = Fiber::State::Ready;
        } else {
            nextDeadline = std::min(nextDeadline, fiber.deadline);
        }
    }
}

/// Nobody can run: the next deadline comes.
void Scheduler::waitForTime()
{
    nextDeadline = never;
    for (Fiber const& fiber : fibers) {
        if (fiber.state == Fiber::State::Blocked) {
            nextDeadline = std::min(nextDeadline, fiber.deadline);
        }
    }
    if (nextDeadline == never) {
        reportDeadlock();
    }
    time = std::max(time, nextDeadline);
    fireTimers();
}

void Scheduler::reportDeadlock()
{
    std::string text = "nobody can go on:";
    for (Fiber const& fiber : fibers) {
        if (fiber.state == Fiber::State::Blocked && fiber.role != Role::Peer) {
            text += " " + fiber.name;
        }
    }
    fail("deadlock", text);
}

/// What is left are daemons; they come out of their waits one after the other.
void Scheduler::endPeers()
{
    for (Fiber& fiber : fibers) {
        bool const isLeft = fiber.state == Fiber::State::Blocked || fiber.state == Fiber::State::Ready;
        if (isLeft && fiber.role == Role::Peer) {
            fiber.state = Fiber::State::Ready;
            if (&fiber == running) {
                return;
            }
            start(fiber);
        }
    }
    leaveWorld();
}

void Scheduler::chooseNext(bool currentGoesOn)
{
    if (ending) {
        return endPeers();
    }
    for (;;) {
        candidates.clear();
        if (currentGoesOn) {
            candidates.push_back(running->number);
        }
        size_t number = static_cast<size_t>(running->number);
        for (size_t i = 0; i < used; ++i) {
            number = number + 1 < used ? number + 1 : 0;
            Fiber const& fiber = fibers[number];
            if (fiber.state == Fiber::State::Ready && !(currentGoesOn && &fiber == running)) {
                candidates.push_back(fiber.number);
            }
        }
        if (!candidates.empty()) {
            break;
        }
        waitForTime();
    }
    // Where every schedule is wanted, a middleware that gets ahead of a thread which could go on counts as a preemption.
    size_t free = currentGoesOn ? 1 : candidates.size();
    if (isSmall && !currentGoesOn) {
        std::stable_partition(candidates.begin(), candidates.end(), [&](int number) { return !isPeer(number); });
        free = static_cast<size_t>(
            std::count_if(candidates.begin(), candidates.end(), [&](int number) { return !isPeer(number); }));
        free = free == 0 ? candidates.size() : free;
    }
    if (candidates.size() > 1 && isNothingNew(currentGoesOn)) {
        ending = true;
        return endPeers();
    }
    size_t const choice = candidates.size() == 1 ? 0 : decisions.chooseThread(candidates, currentGoesOn, free);
    int const next = candidates[choice];
    hash = (hash ^ static_cast<uint64_t>(fibers[static_cast<size_t>(next)].identity)) * 0x100000001B3U + 1;
    Fiber& chosen = fibers[static_cast<size_t>(next)];
    if (chosen.role == Role::Peer && states != nullptr) {
        // What it does until it waits again is one step, on what lies outside of the library.
        chosen.past = mixed(chosen.past, objects[&outside]);
        objects[&outside] = mixed(chosen.past, 4);
    }
    start(chosen);
}

void Scheduler::start(Fiber& fiber)
{
    if (&fiber == running) {
        return;
    }
    ++switchCount;
    Fiber* const from = running;
    if (coverage != nullptr && from->calls.top() != 0 && fiber.calls.top() != 0) {
        size_t const bit = (from->calls.top() * 31U ^ fiber.calls.top() * 0x9E3779B1U) % coverageBits;
        coverage[bit / 8] |= static_cast<uint8_t>(1U << bit % 8);
    }
    running = &fiber;
    changeOver(from, fiber, stacks);
}

} // namespace simulation
