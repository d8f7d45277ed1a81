/// @file
/// The files of simulator/scenarios, built into the program.
#ifndef ZELO_SIMULATOR_EMBEDDED_H
#define ZELO_SIMULATOR_EMBEDDED_H

#include <vector>

namespace zelobox {

struct EmbeddedScenario {
    char const* name;
    char const* text;
};

std::vector<EmbeddedScenario> embeddedScenarios();

} // namespace zelobox

#endif
