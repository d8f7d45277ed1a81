/// @file
/// Host callbacks that remember, and that do what a test wants.
#ifndef ZELO_TESTKIT_CALLBACKS_H
#define ZELO_TESTKIT_CALLBACKS_H

#include <functional>
#include <string>
#include <vector>

#include "cobalt/ZeloCobalt.h"

namespace callbacks {

/// @return all four; each records "key 36 1", "pause", "resume" or "volume" and then runs the body
ZeloCallbacks all();

/// What every callback runs, on the library's thread; empty to remove.
void setBody(std::function<void()> body);

/// The calls so far. A call counts when its body has returned.
std::vector<std::string> calls();
/// @return false after a deadline of some seconds
bool waitForCalls(size_t count);

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
