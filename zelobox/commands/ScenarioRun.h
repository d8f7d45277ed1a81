/// @file
/// A scenario played with a middleware in this process and the sample host in another one.
#ifndef ZELO_ZELOBOX_SCENARIORUN_H
#define ZELO_ZELOBOX_SCENARIORUN_H

#include <string>

#include "zelobox/commands/Commands.h"
#include "zelobox/commands/HostOptions.h"
#include "zelobox/middleware/Middleware.h"
#include "zelobox/middleware/Timeline.h"
#include "zelobox/scenario/Scenario.h"

namespace zelobox {

struct ScenarioResult {
    ExitCode code = Succeeded;
    std::string failure; ///< names step, expected and actual
    double seconds = 0;
};

/// @param trace  sees the traffic too; may be null
/// @throw PeerError, InputError when it cannot be played
ScenarioResult runScenario(Scenario const& scenario, HostOptions const& hostOptions, Timeline& timeline,
                           Middleware::Observer* trace);

} // namespace zelobox

#endif
