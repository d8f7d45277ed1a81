/// @file
/// Promises that are checked only of a library that makes them.
#ifndef ZELO_SIMULATION_PROMISES_H
#define ZELO_SIMULATION_PROMISES_H

namespace simulation {
namespace promises {

bool const requestsBeforeStop = true; ///< what was requested before a stop is written if the middleware reads

bool const requestsAtOnce = true;    ///< no request waits for the end of a timed wait
bool const promptStop = true;        ///< a stop of a connection at rest takes a few milliseconds
bool const gettersDuringExit = true; ///< a getter beside an `exit` reads nothing that is destroyed

bool const startDuringExit = true; ///< no manager stays behind that a start has made while the process ended
bool const stopBesideExit = true;  ///< no callback comes after a stop that an `exit` has overtaken

} // namespace promises
} // namespace simulation

#endif
