/// @file
/// What one run has.
#ifndef ZELO_SIMULATION_WORLD_H
#define ZELO_SIMULATION_WORLD_H

#include <memory>
#include <string>
#include <unordered_map>

#include "tests/simulation/Conduct.h"
#include "tests/simulation/Decisions.h"
#include "tests/simulation/Faults.h"
#include "tests/simulation/Findings.h"
#include "tests/simulation/Scheduler.h"
#include "tests/simulation/Sockets.h"
#include "tests/simulation/Synchronization.h"

namespace simulation {

struct World {
    World(Decisions& runDecisions, uint64_t firstTime);

    Decisions& decisions;
    Scheduler scheduler;
    Faults faults;
    Synchronization synchronization;
    Sockets sockets;
    Conduct conduct;
    std::unordered_map<std::string, std::string> environment;
    int process = 100;
    std::unique_ptr<Finding> finding;
};

/// The world of the run that is going on.
World& world();
bool isWorldThere();

inline Fiber& self()
{
    return world().scheduler.current();
}

/// What the current fiber does is the library's own doing, in this scope.
class Inside {
public:
    explicit Inside(bool inside = true, uintptr_t place = 0)
        : fiber(self()), insideBefore(fiber.inLibrary), placeBefore(fiber.place)
    {
        fiber.inLibrary = inside;
        fiber.place = place;
    }
    ~Inside()
    {
        fiber.inLibrary = insideBefore;
        fiber.place = placeBefore;
    }
    Inside(Inside const&) = delete;
    Inside& operator=(Inside const&) = delete;

private:
    Fiber& fiber;
    bool const insideBefore;
    uintptr_t const placeBefore;
};

/// What the current fiber does is the world's doing, in this scope: its memory is not the library's.
class Outside : public Inside {
public:
    /// @param place  in the library, from which the world is called
    explicit Outside(uintptr_t place = 0) : Inside(false, place) {}
};

/// What is known of one finished run.
struct Outcome {
    std::unique_ptr<Finding> finding;
    Script script;
    uint64_t steps = 0;
    uint64_t hash = 0;
    int64_t virtualTime = 0;
    FaultCounts faults{};
};

/// Runs @p scene from its beginning to its end.
///
/// @param states  null unless they are of interest
Outcome runScene(struct Scene const& scene, Decisions& decisions, States* states = nullptr);

} // namespace simulation

#endif
