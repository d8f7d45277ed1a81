/// @file
/// Ways through the decisions: by seed, exhaustively, and towards the shortest.
#ifndef ZELO_SIMULATION_EXPLORE_H
#define ZELO_SIMULATION_EXPLORE_H

#include <functional>

#include "tests/simulation/Scenes.h"
#include "tests/simulation/World.h"

namespace simulation {

/// @param scene  null: the one that the seed plays
Outcome runSeed(uint64_t seed, Scene const* scene);
Outcome runScript(Script const& script, Scene const& scene);

struct Search {
    uint64_t schedules = 0;
    bool isComplete = false;
    size_t finalStates = 0;
    uint64_t digest = 0; ///< of them
    std::unique_ptr<Finding> finding;
    Script script; ///< of the finding
};

/// Runs every schedule of a small scene with at most so many preemptions. A switch where the thread cannot go on is
/// none.
/// @param prunes    ends a run in a state from which an earlier one has gone on, with no fewer preemptions left
/// @param progress  told the number of schedules now and then; false ends the search
Search searchExhaustively(Scene const& scene, unsigned preemptions, bool prunes,
                          std::function<bool(uint64_t)> const& progress);

/// Leaves out decisions as long as the same promise is broken.
Script shrink(Script script, Scene const& scene, std::string const& promise, unsigned maxRuns);

} // namespace simulation

#endif
