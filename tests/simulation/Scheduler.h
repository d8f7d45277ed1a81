/// @file
/// The one processor and the clocks of the simulated world.
#ifndef ZELO_SIMULATION_SCHEDULER_H
#define ZELO_SIMULATION_SCHEDULER_H

#include <array>
#include <functional>
#include <string>
#include <unordered_map>
#include <vector>

#include "tests/simulation/Decisions.h"
#include "tests/simulation/Fibers.h"
#include "tests/simulation/States.h"

namespace simulation {

/// What a daemon's blocking call throws when the world ends.
struct WorldEnds {};

/// Lets one fiber run at a time and decides at each choice point which.
///
/// Virtual time goes on by one microsecond at each choice point, and to the next deadline when nobody can run.
class Scheduler {
public:
    /// One bit per pair of places in the library between which a switch has happened, by hash.
    static size_t const coverageBits = 65536;
    static uint8_t* coverage;

    Scheduler(Decisions& runDecisions, char* stackMemory, uint64_t firstTime);

    /// Makes a fiber that what the current one has done so far happens before.
    Fiber& spawn(Role role, std::string const& name, std::function<void()> body);
    /// Runs @p body and what it spawns until the body returns.
    void run(std::function<void()> body);

    Fiber& current() { return *running; }
    bool isInWorld() const { return running != nullptr; }
    std::vector<Fiber>& all() { return fibers; }

    /// A choice point.
    void step();
    /// A choice point that an exhaustive search can do without: what comes next commutes with what other threads do, as
    /// the release of a lock does.
    void minorStep();
    /// From now on minor steps are no choice points, and a step takes no time: so the order of two steps changes no
    /// deadline.
    void beSmall() { isSmall = true; }

    // What the running thread has seen of the world
    /// To be called with each use of something that threads share. Reads of one thing may change places.
    void touch(void const* object, bool isWrite = true);
    /// Sockets, middleware, the log and what is checked.
    void touchOutside() { touch(&outside); }
    void observe(uint64_t value);
    void observe(Fiber const& fiber) { observe(fiber.state == Fiber::State::Ended ? fiber.past : 0); }
    /// @param visitedStates  null: of no interest
    void remember(States* visitedStates) { states = visitedStates; }

    /// From now on there is no other thread: this is a forked child.
    void beAlone();
    /// Waits until wake() of the same object, or the deadline.
    /// @return false after the deadline
    bool block(void const* object, int64_t deadline, bool onWallClock = false);
    void wake(void const* object);
    void sleepUntil(int64_t time);
    bool isAnyBlockedOn(void const* object) const;

    int64_t now() const { return time; }
    int64_t wallClock() const { return time + wallOffset; }
    /// Moves the wall clock, and with it the deadlines that lie on it.
    void stepWallClock(int64_t by);
    /// Lets time pass as if another process had the processor.
    void stall(int64_t duration);
    /// @return how much of the time until now was stalls
    int64_t stalled() const { return stallTime; }

    /// Called at each choice point; may stall.
    std::function<void()> atStep;

    uint64_t steps() const { return stepCount; }
    uint64_t switches() const { return switchCount; }
    /// @return a number that two runs share only if their schedules were the same
    uint64_t scheduleHash() const { return hash; }
    uint64_t latestTime() const;

    // Happens-before
    void acquire(VectorClock const& clock) { running->clock.join(clock); }
    void release(VectorClock& clock);

private:
    Fiber& freeFiber();
    void fireTimers();
    void start(Fiber& fiber);
    void end();
    void chooseNext(bool currentGoesOn);
    void waitForTime();
    [[noreturn]] void reportDeadlock();
    void endPeers();
    bool isNothingNew(bool currentGoesOn);
    bool isPeer(int number) const { return fibers[static_cast<size_t>(number)].role == Role::Peer; }
    uint64_t state(bool currentGoesOn) const;

    Decisions& decisions;
    char* const stacks;
    std::vector<Fiber> fibers;
    Fiber* running = nullptr;
    std::vector<int> candidates;
    int64_t time = 0;
    int64_t wallOffset = int64_t{1700000000} * 1000000;
    int64_t nextDeadline = never;
    int64_t stallTime = 0;
    uint64_t stepCount = 0;
    uint64_t switchCount = 0;
    uint64_t hash = 0;
    int nextIdentity = 1;
    size_t used = 0; ///< fibers that have ever been
    bool ending = false;
    bool isSmall = false;
    bool isAlone = false;
    Fiber* first = nullptr;
    States* states = nullptr;
    std::unordered_map<void const*, uint64_t> objects; ///< what the last thread that changed it had done and seen
    uint64_t endedPasts = 0;
    char outside = 0; ///< an object
};

} // namespace simulation

#endif
