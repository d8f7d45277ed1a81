#include "tests/simulation/Memory.h"

#include <string.h>
#include <sys/mman.h>

#include <stdexcept>

#include "tests/simulation/Findings.h"
#include "tests/simulation/Trace.h"
#include "tests/simulation/World.h"

namespace simulation {

namespace {

size_t const granule = 8;
size_t const tracesPerGranule = 4;
size_t const stacksSize = stackSize * maxThreads;
size_t const heapSize = size_t{1} << 30;
size_t const redZone = 16;
size_t const reuseFrom = size_t{256} << 20; ///< heap that may be in use before freed blocks are given out again
size_t const largestBlock = size_t{64} << 20;
char* const baseAddress = reinterpret_cast<char*>(uintptr_t{0x200000000000});

void* reserve(void* wanted, size_t size)
{
    int const place = wanted != nullptr ? MAP_FIXED_NOREPLACE : 0;
    void* const got =
        mmap(wanted, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE | place, -1, 0);
    if (got == MAP_FAILED) {
        throw std::runtime_error("cannot reserve the memory of the simulated process");
    }
    return got;
}

} // namespace

size_t const Memory::regionSize = stacksSize + heapSize;

/// The last access of one thread to some bytes of a granule.
struct Memory::Trace {
    uint64_t time; ///< of the thread's own clock; 0 is none
    uint32_t place;
    uint8_t thread;
    uint8_t mask;
    bool isWrite;
    bool isAtomic;
};

/// Stands before each block.
struct Memory::Block {
    uint32_t size;
    uint32_t room; ///< with this header and the red zone
    uint32_t place;
    enum : uint32_t { Live = 0x11FE11FE, Freed = 0xF4EEF4EE } state;

    char* bytes() { return reinterpret_cast<char*>(this + 1); }
};

Memory& memory()
{
    static Memory& only = *new Memory;
    return only;
}

Memory::Memory()
{
    base = static_cast<char*>(reserve(baseAddress, regionSize));
    // The lowest page of each stack is its guard.
    for (size_t i = 0; i < maxThreads; ++i) {
        mprotect(base + i * stackSize, 4096, PROT_NONE);
    }
    heap = base + stacksSize;
    heapEnd = heap;
    size_t const granules = regionSize / granule + 65536;
    shadow = static_cast<Trace*>(reserve(nullptr, granules * tracesPerGranule * sizeof(Trace)));
    valid = static_cast<uint8_t*>(reserve(nullptr, heapSize / granule));
}

void Memory::addGlobals(char* begin, char* end)
{
    globalsBegin = reinterpret_cast<uintptr_t>(begin);
    globalsSize = static_cast<size_t>(end - begin);
    if (globalsSize > 65536 * granule) {
        throw std::runtime_error("the library's globals are larger than expected");
    }
}

void Memory::beginRun(uint64_t firstTime)
{
    memset(valid, 0, static_cast<size_t>(heapEnd - heap) / granule);
    heapEnd = heap;
    freed.clear();
    live = 0;
    runStart = firstTime;
}

bool Memory::owns(void const* address) const
{
    return static_cast<char const*>(address) >= heap && static_cast<char const*>(address) < heap + heapSize;
}

void* Memory::allocate(size_t size, uintptr_t place)
{
    if (size > largestBlock) {
        return nullptr;
    }
    size_t const room = (sizeof(Block) + size + redZone + 15) / 16 * 16;
    Block* block = nullptr;
    if (static_cast<size_t>(heapEnd - heap) + room > reuseFrom) {
        block = reusable(room);
    }
    if (block == nullptr) {
        if (static_cast<size_t>(heapEnd - heap) + room > heapSize) {
            return nullptr;
        }
        block = reinterpret_cast<Block*>(heapEnd);
        heapEnd += room;
        block->room = static_cast<uint32_t>(room);
    }
    block->size = static_cast<uint32_t>(size);
    block->place = static_cast<uint32_t>(place);
    block->state = Block::Live;
    setValid(reinterpret_cast<uintptr_t>(block->bytes()), size, true);
    // What was there before is no clue.
    memset(block->bytes(), 0xA5, size < 4096 ? size : 4096);
    ++live;
    return block->bytes();
}

Memory::Block* Memory::reusable(size_t room)
{
    auto const fitting = freed.find(room);
    if (fitting == freed.end() || fitting->second.empty()) {
        return nullptr;
    }
    Block* const block = fitting->second.front();
    fitting->second.pop_front();
    return block;
}

void Memory::release(void* bytes, Fiber& fiber, uintptr_t place)
{
    Block* const block = static_cast<Block*>(bytes) - 1;
    if (block->state == Block::Freed) {
        fail("memory", "freed twice, the second time at " + placeOf(place));
    }
    if (block->state != Block::Live) {
        fail("memory", "freed, but no block, at " + placeOf(place));
    }
    if (block->size > 0) {
        check(reinterpret_cast<uintptr_t>(bytes), block->size, Access{true, false, place}, fiber);
    }
    block->state = Block::Freed;
    block->place = static_cast<uint32_t>(place);
    setValid(reinterpret_cast<uintptr_t>(bytes), block->size, false);
    freed[block->room].push_back(block);
    --live;
}

uintptr_t Memory::placeOfLeak() const
{
    for (char* at = heap; at < heapEnd; at += reinterpret_cast<Block*>(at)->room) {
        if (reinterpret_cast<Block*>(at)->state == Block::Live) {
            return reinterpret_cast<Block*>(at)->place;
        }
    }
    return 0;
}

void Memory::setValid(uintptr_t begin, size_t size, bool isValid)
{
    uint8_t* const first = valid + (begin - reinterpret_cast<uintptr_t>(heap)) / granule;
    memset(first, isValid ? static_cast<int>(granule) : 0, size / granule);
    if (size % granule != 0) {
        first[size / granule] = isValid ? static_cast<uint8_t>(size % granule) : uint8_t{0};
    }
}

void Memory::checkBounds(uintptr_t address, size_t size, Access const& access)
{
    size_t offset = address - reinterpret_cast<uintptr_t>(heap);
    size_t const end = offset + size;
    for (; offset < end; offset = (offset / granule + 1) * granule) {
        size_t const last = std::min(end, (offset / granule + 1) * granule) - 1;
        if (last % granule >= valid[offset / granule]) {
            Outside const outside;
            fail("memory", std::string(access.isWrite ? "write" : "read") + " of freed memory or beyond a block, at " +
                               placeOf(access.place));
        }
    }
}

void Memory::checkKnown(uintptr_t address, size_t size, Access const& access, Fiber& fiber)
{
    ++accessCount;
    size_t first;
    if (address - globalsBegin < globalsSize) {
        first = regionSize / granule * granule + (address - globalsBegin) + globalsBegin % granule;
    } else {
        if (address >= reinterpret_cast<uintptr_t>(heap)) {
            checkBounds(address, size, access);
        }
        first = address - reinterpret_cast<uintptr_t>(base);
    }
    size_t const end = first + size;
    for (size_t at = first; at < end; at = (at / granule + 1) * granule) {
        size_t const stop = std::min(end, (at / granule + 1) * granule);
        unsigned const bits = (1U << (stop - at)) - 1U;
        checkGranule(shadow + at / granule * tracesPerGranule, static_cast<uint8_t>(bits << at % granule), access,
                     fiber);
    }
}

void Memory::checkGranule(Trace* traces, uint8_t mask, Access const& access, Fiber& fiber)
{
    uint8_t const self = static_cast<uint8_t>(fiber.number);
    Trace* place = nullptr;
    Trace* oldest = traces;
    for (Trace* trace = traces; trace != traces + tracesPerGranule; ++trace) {
        bool const isStale = trace->time <= runStart;
        if (isStale || (trace->thread == self && (trace->mask & ~mask) == 0 && (access.isWrite || !trace->isWrite) &&
                        (!access.isAtomic || trace->isAtomic))) {
            place = place == nullptr ? trace : place;
        }
        if (!isStale && trace->thread != self && (trace->mask & mask) != 0 && (trace->isWrite || access.isWrite) &&
            !(trace->isAtomic && access.isAtomic) && trace->time > fiber.clock[trace->thread]) {
            reportRace(*trace, access, fiber);
        }
        oldest = trace->time < oldest->time ? trace : oldest;
    }
    if (place == nullptr) {
        // Its own oldest or anybody's: what is forgotten can only hide a race.
        place = oldest;
    }
    *place = {fiber.clock[self], static_cast<uint32_t>(access.place), self, mask, access.isWrite, access.isAtomic};
}

void Memory::reportRace(Trace const& earlier, Access const& access, Fiber const& fiber)
{
    Outside const outside;
    auto const describe = [](bool isWrite, bool isAtomic) {
        return std::string(isAtomic ? "atomic " : "") + (isWrite ? "write" : "read");
    };
    fail("data race", describe(access.isWrite, access.isAtomic) + " by " + fiber.name + " at " + placeOf(access.place) +
                          " and earlier " + describe(earlier.isWrite, earlier.isAtomic) + " by " +
                          world().scheduler.all()[earlier.thread].name + " at " + placeOf(earlier.place));
}

} // namespace simulation
