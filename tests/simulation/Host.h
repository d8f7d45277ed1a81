/// @file
/// The process that loads the library: its calls, its callbacks, its logger.
#ifndef ZELO_SIMULATION_HOST_H
#define ZELO_SIMULATION_HOST_H

#include <functional>
#include <string>
#include <vector>

namespace simulation {

struct Fiber;

namespace host {

void start();
void stop();
/// Asks for a window whose coordinates say which request it is.
void requestWindow();
void requestPreviousController();
/// Calls the getters.
void ask();
/// Unloads the library, and checks that nothing of it is left.
void unload();
/// Ends the process while its other threads run; they go on for a while.
void exitProcess();
/// Sets the DRM object up, or over.
void useDrm();
/// A child that has copies of all descriptors for so long, and may call exit.
void forkChild(int64_t lifetime, bool exits);
/// The library's sockets must not take the place of the standard streams.
void closeStandardInput();
void pause(int64_t microseconds);

/// Runs beside the caller until join().
Fiber& run(std::string const& name, std::function<void()> body);
void join(Fiber& fiber);
bool hasEnded(Fiber const& fiber);

/// What callbacks and the logger do beside taking notice; 0: nothing.
void setCallbackVariety(unsigned variety);

} // namespace host
} // namespace simulation

#endif
