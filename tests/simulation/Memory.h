/// @file
/// The memory of the simulated process: where it may be accessed, and by whom it was last.
#ifndef ZELO_SIMULATION_MEMORY_H
#define ZELO_SIMULATION_MEMORY_H

#include <stddef.h>
#include <stdint.h>

#include <deque>
#include <map>
#include <string>

#include "tests/simulation/Fibers.h"

namespace simulation {

/// How the memory is touched.
struct Access {
    bool isWrite;
    bool isAtomic;
    uintptr_t place; ///< of the code
};

/// The stacks, the heap and the globals of the library.
///
/// The heap is given out in ascending order and begun anew with each run; what has been freed is not given out again
/// before much else has been. Each access is checked against the bounds of its block, and against the last accesses to
/// the same bytes: two of which one is a write, and of which neither happens before the other, are a data race.
class Memory {
public:
    Memory();

    char* stacks() const { return base; }
    /// Adds the library's globals.
    void addGlobals(char* begin, char* end);

    /// To be called before each run. What was accessed before happens before everything in it.
    void beginRun(uint64_t firstTime);

    /// @return null if there is no such memory on a set-top box
    void* allocate(size_t size, uintptr_t place);
    void release(void* block, Fiber& fiber, uintptr_t place);
    bool owns(void const* address) const;

    void check(uintptr_t address, size_t size, Access const& access, Fiber& fiber)
    {
        if (address - reinterpret_cast<uintptr_t>(base) < regionSize || address - globalsBegin < globalsSize) {
            checkKnown(address, size, access, fiber);
        }
    }

    size_t liveBlocks() const { return live; }
    /// @return where the oldest block that is left was allocated
    uintptr_t placeOfLeak() const;
    uint64_t accesses() const { return accessCount; }

private:
    struct Trace;
    struct Block;

    void checkKnown(uintptr_t address, size_t size, Access const& access, Fiber& fiber);
    void checkGranule(Trace* traces, uint8_t mask, Access const& access, Fiber& fiber);
    [[noreturn]] void reportRace(Trace const& earlier, Access const& access, Fiber const& fiber);
    void checkBounds(uintptr_t address, size_t size, Access const& access);
    void setValid(uintptr_t begin, size_t size, bool valid);
    Block* reusable(size_t room);

    static size_t const regionSize;

    char* base;
    char* heap;
    char* heapEnd; ///< of what has been given out
    Trace* shadow;
    uint8_t* valid; ///< per 8 bytes of the heap: how many of them, from the first one, belong to a block
    uintptr_t globalsBegin = 0;
    size_t globalsSize = 0;
    std::map<size_t, std::deque<Block*>> freed;
    size_t live = 0;
    uint64_t runStart = 0;
    uint64_t accessCount = 0;
};

/// The one memory of the process.
Memory& memory();

} // namespace simulation

#endif
