/// @file
/// Host callbacks that remember, and that do what a test wants.
#ifndef ZELO_TESTKIT_CALLBACKS_H
#define ZELO_TESTKIT_CALLBACKS_H

#include <functional>
#include <string>
#include <vector>

#include "cobalt/ZeloCobalt.h"

namespace callbacks {

/// @return all four; each runs the body and then records "key 36 1" (code, modifier), "pause", "resume" or "volume"
ZeloCallbacks all();

/// What every callback runs, on the library's thread; empty to remove.
void setBody(std::function<void()> body);
/// What is recorded behind "volume", such as the new one.
void setVolumeText(std::function<std::string()> text);

/// The calls so far. A call counts when its body has returned.
std::vector<std::string> calls();
void clearCalls();
/// @return false after a deadline of some seconds
bool waitForCalls(size_t count);
bool waitFor(std::string const& call, size_t count = 1);

/// A body that stays inside until it is released.
class Latch {
public:
    Latch();
    ~Latch() { release(); }

    /// @return false if no callback came for some seconds
    bool waitUntilEntered();
    void release();
};

} // namespace callbacks

#endif
