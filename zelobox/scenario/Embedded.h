/// @file
/// The files of zelobox/scenario/data, built into the program.
#ifndef ZELO_ZELOBOX_EMBEDDED_H
#define ZELO_ZELOBOX_EMBEDDED_H

#include <vector>

namespace zelobox {

struct EmbeddedScenario {
    char const* name;
    char const* text;
};

std::vector<EmbeddedScenario> embeddedScenarios();

} // namespace zelobox

#endif
