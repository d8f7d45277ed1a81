/// @file
/// What happens in a run: the host's threads and the middleware that they meet.
#ifndef ZELO_SIMULATION_SCENES_H
#define ZELO_SIMULATION_SCENES_H

#include <string>
#include <vector>

namespace simulation {

struct Scene {
    char const* name;
    char const* about;
    bool isSmall;    ///< every decision but the schedule is fixed: made for the exhaustive search
    unsigned weight; ///< of it among the seeds
    void (*play)();  ///< on the host's first thread
};

std::vector<Scene> const& allScenes();
Scene const* findScene(std::string const& name);
/// @return the scene that a seed plays
Scene const& sceneOf(uint64_t seed);

} // namespace simulation

#endif
