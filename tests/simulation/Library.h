/// @file
/// The library under test, loaded and unloaded as the dynamic loader would.
#ifndef ZELO_SIMULATION_LIBRARY_H
#define ZELO_SIMULATION_LIBRARY_H

namespace simulation {

/// To be called once, before the first run.
void keepPristineGlobals();
/// Gives the globals the values that they have in the file. From outside the world.
void restoreGlobals();

/// Runs the initialisations, on a host thread.
void loadLibrary();
/// Runs what the library has registered for its end, as `exit` and `dlclose` do.
void endLibrary();

/// Fails the run if a thread of the library is there.
void checkNothingRuns();

/// Fails the run if something of an unloaded library is left.
void checkNothingIsLeft();

} // namespace simulation

#endif
