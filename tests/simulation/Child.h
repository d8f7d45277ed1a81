/// @file
/// A forked child of the simulated process, and its exit.
#ifndef ZELO_SIMULATION_CHILD_H
#define ZELO_SIMULATION_CHILD_H

#include <string>

namespace simulation {

/// Forks a real process that has a copy of everything but of the other threads, and lets it call exit. Fails the run if
/// the library does anything there.
void runChildToItsExit();

/// @return whether this is such a child
bool isChild();

/// Fails in such a child; what the library does there is somebody else's.
void forbidInChild(std::string const& what);

/// Tells the parent of a broken promise and ends the child.
[[noreturn]] void endChild(std::string const& text);

} // namespace simulation

#endif
