/// @file
/// Threads of the simulated world, all of them on one real thread.
#ifndef ZELO_SIMULATION_FIBERS_H
#define ZELO_SIMULATION_FIBERS_H

#include <setjmp.h>
#include <stddef.h>
#include <stdint.h>

#include <functional>
#include <string>

#include "tests/simulation/VectorClock.h"

namespace simulation {

int64_t const never = INT64_MAX;

enum class Role : uint8_t { Host, Library, Peer };

/// Where the functions of the library were called from. Allocates nothing.
class CallStack {
public:
    void push(uint32_t place)
    {
        if (depth < limit) {
            places[depth] = place;
        }
        ++depth;
    }
    void pop() { depth -= depth > 0 ? 1U : 0U; }
    /// @return the innermost; 0 outside the library
    uint32_t top() const { return depth == 0 ? 0 : places[(depth < limit ? depth : limit) - 1]; }

private:
    enum : uint32_t { limit = 128 };

    uint32_t places[limit];
    uint32_t depth = 0;
};

/// One simulated thread. It has what the C and the C++ runtime keep per thread: errno and the exceptions in flight.
struct Fiber {
    enum class State : uint8_t { Unused, Ready, Blocked, Ended };

    int number = 0; ///< its place among the stacks and in the vector clocks
    Role role = Role::Host;
    State state = State::Unused;
    std::string name;
    std::function<void()> body;

    // While blocked
    void const* waitsFor = nullptr;
    int64_t deadline = never; ///< microseconds of virtual time
    bool onWallClock = false; ///< the deadline moves when the wall clock steps
    bool timedOut = false;

    int error = 0; ///< errno
    bool inLibrary = false;
    uintptr_t place = 0; ///< in the library, of the call that it is in
    bool sigPipeBlocked = false;
    bool joined = false;
    int identity = 0; ///< never given twice in a run
    VectorClock clock;
    uint64_t past = 0; ///< what it has done and seen, as a number; only kept for an exhaustive search
    CallStack calls;

    jmp_buf context;
    bool begun = false;
    uint64_t exceptions[2] = {0, 0};
};

/// The memory in which the fibers' stacks lie: stackSize bytes each, in the order of their numbers.
size_t const stackSize = size_t{256} * 1024;

/// Changes over to @p next; returns when somebody changes back.
/// @param from  null: from outside the world
void changeOver(Fiber* from, Fiber& next, char* stacks);

/// Runs from outside the world until leaveWorld(). Fibers that have not ended by then stay where they are, for ever.
void enterWorld(Fiber& first, char* stacks);
[[noreturn]] void leaveWorld();

} // namespace simulation

#endif
