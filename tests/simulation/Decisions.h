/// @file
/// Everything in a run that could have been otherwise, as numbers that can be recorded, replayed and searched.
#ifndef ZELO_SIMULATION_DECISIONS_H
#define ZELO_SIMULATION_DECISIONS_H

#include <stdint.h>

#include <array>
#include <memory>
#include <string>
#include <vector>

namespace simulation {

/// A generator whose numbers are the same on every machine.
class Random {
public:
    explicit Random(uint64_t seed) : state(seed) {}
    uint64_t next();
    uint32_t below(uint32_t limit) { return limit == 0 ? 0 : static_cast<uint32_t>(next() % limit); }

private:
    uint64_t state;
};

/// Each kind of decision is a sequence of its own, so that leaving out a fault does not shift the schedule.
enum class Kind : uint8_t {
    Schedule, ///< which thread goes on
    Fault,    ///< what fails, and how
    Content,  ///< what host and middleware do
};
size_t const kinds = 3;

/// What one decision was. The value 0 is the plain one: no switch, no fault, nothing done.
struct Decision {
    uint16_t options;
    uint16_t value;
    uint16_t free; ///< Schedule: a value from here on costs a preemption

    bool isPreemption() const { return value >= free; }
};

/// The decisions of a run in the order in which they were made, per kind.
using Script = std::array<std::vector<Decision>, kinds>;

/// @return the decisions other than 0, as "s12=1,f3=2"; "-" if there are none
std::string toText(Script const& script);

/// @throw std::invalid_argument
Script fromText(std::string const& text);

/// Picks the thread that goes on.
class Strategy {
public:
    virtual ~Strategy() = default;
    /// @param candidates   numbers of the threads that can go on, two at least; the first is the plain choice
    /// @param preemptive   the first is the one that is running
    virtual uint32_t pick(std::vector<int> const& candidates, bool preemptive) = 0;
};

/// Takes the processor away at every n-th chance, on average.
std::unique_ptr<Strategy> makeRandomWalk(uint64_t seed, uint32_t oneIn);

/// Probabilistic concurrency testing: random priorities that change at so many random steps.
std::unique_ptr<Strategy> makePct(uint64_t seed, uint32_t depth, uint32_t expectedSteps);

/// Makes and records the decisions of one run.
class Decisions {
public:
    /// Random ones.
    Decisions(uint64_t seed, std::unique_ptr<Strategy> threadStrategy);
    /// Those of @p given; 0 where it has none.
    explicit Decisions(Script given);

    /// @return a number below @p options
    uint32_t choose(Kind kind, uint32_t options);
    /// @return an index into @p candidates
    ///
    /// @param free  so many of them go on without taking the processor from a thread that could
    uint32_t chooseThread(std::vector<int> const& candidates, bool preemptive, size_t free);

    Script const& made() const { return script; }
    unsigned preemptions() const { return preemptionCount; }

private:
    uint32_t record(Kind kind, uint32_t options, uint32_t value, uint32_t free);

    Script script;
    Script forced;
    unsigned preemptionCount = 0;
    Random random;
    std::unique_ptr<Strategy> strategy; // null: as forced
};

} // namespace simulation

#endif
