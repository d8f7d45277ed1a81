/// @file
/// A broken promise.
#ifndef ZELO_SIMULATION_FINDINGS_H
#define ZELO_SIMULATION_FINDINGS_H

#include <string>

namespace simulation {

struct Finding {
    std::string promise; ///< its short name; two findings of one name are taken for the same
    std::string text;
};

/// Ends the run.
[[noreturn]] void fail(std::string const& promise, std::string const& text);

} // namespace simulation

#endif
