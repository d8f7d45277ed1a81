/// @file
/// Many seeds on all processors.
#ifndef ZELO_SIMULATION_CAMPAIGN_H
#define ZELO_SIMULATION_CAMPAIGN_H

#include <stdint.h>

#include "tests/simulation/Scenes.h"

namespace simulation {

struct CampaignOptions {
    uint64_t firstSeed = 1;
    uint64_t seeds = 0; ///< 0: no limit
    double seconds = 0; ///< 0: no limit
    unsigned jobs = 2;
    Scene const* scene = nullptr; ///< null: all
    bool quiet = false;
};

/// Stops at the first seed that breaks a promise.
/// @return that seed; 0 if there is none
uint64_t runCampaign(CampaignOptions const& options);

} // namespace simulation

#endif
