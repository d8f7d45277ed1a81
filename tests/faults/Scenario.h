/// @file
/// A life of the library with a middleware that puts up with everything.
#ifndef ZELO_TESTS_SCENARIO_H
#define ZELO_TESTS_SCENARIO_H

#include <string>

#include "tests/faults/Faults.h"

/// What became of one run.
struct Outcome {
    bool struck = false;    ///< the fault came up
    size_t calls = 0;       ///< of the kind that was to fail
    size_t connections = 0; ///< that the middleware has seen; 2 without any trouble
    bool killed = false;    ///< by the report of a failed thread call
    std::string complaints; ///< empty if all is well
};

/// Runs start, configuration, key, requests, drop, reconnect, key and stop in a process of its own while @p fault
/// strikes, and looks for what is left behind.
Outcome runScenario(faults::Fault const& fault);

#endif
