/// @file
/// States of the world that an exhaustive search has been in.
#ifndef ZELO_SIMULATION_STATES_H
#define ZELO_SIMULATION_STATES_H

#include <stddef.h>
#include <stdint.h>

#include <set>
#include <unordered_map>

namespace simulation {

/// @return a number that depends on both, and on their order
inline uint64_t mixed(uint64_t left, uint64_t right)
{
    uint64_t mix = (left ^ right * 0x9E3779B97F4A7C15U) + 0x632BE59BD9B4E019U;
    mix = (mix ^ (mix >> 30)) * 0xBF58476D1CE4E5B9U;
    mix = (mix ^ (mix >> 27)) * 0x94D049BB133111EBU;
    return mix ^ (mix >> 31);
}

/// Two schedules that differ only in the order of steps which do not touch the same thing lead to the same state: each
/// thread has seen the same. From there on they have the same futures, so one of them is enough, if it may preempt as
/// often as the other.
class States {
public:
    explicit States(unsigned maxPreemptions, bool prunesSearch) : most(maxPreemptions), prunes(prunesSearch) {}

    /// The next run repeats so many decisions of the one before.
    void beginRun(size_t repeatedDecisions) { repeated = repeatedDecisions; }
    /// @return whether nothing new can come of the run
    bool isKnown(uint64_t state, size_t decisions, unsigned preemptions);
    void ended(uint64_t state) { finals.insert(state); }

    size_t finalStates() const { return finals.size(); }
    /// @return a number that two searches share only if they have ended in the same states
    uint64_t digest() const;

private:
    unsigned const most;
    bool const prunes;
    size_t repeated = 0;
    std::unordered_map<uint64_t, uint8_t> left; ///< preemptions with which a state was gone on from, at most
    std::set<uint64_t> finals;
};

} // namespace simulation

#endif
