#include "tests/simulation/Library.h"

#include <string.h>

#include <vector>

#include "tests/simulation/Memory.h"
#include "tests/simulation/Trace.h"
#include "tests/simulation/World.h"

extern "C" {
// Given by the linker: the sections that isolate.sh makes.
extern char __start_zelo_globals[];
extern char __stop_zelo_globals[];
extern void (*__start_zelo_initialisations[])();
extern void (*__stop_zelo_initialisations[])();
}

namespace simulation {

namespace {

struct Ending {
    void (*function)(void*);
    void* argument;
};

std::vector<char> pristine;
std::vector<Ending> endings;

} // namespace

void keepPristineGlobals()
{
    pristine.assign(__start_zelo_globals, __stop_zelo_globals);
    memory().addGlobals(__start_zelo_globals, __stop_zelo_globals);
}

void restoreGlobals()
{
    memcpy(__start_zelo_globals, pristine.data(), pristine.size());
    endings.clear();
}

void loadLibrary()
{
    TRACE("loads the library");
    Inside const inside;
    for (void (**function)() = __start_zelo_initialisations; function != __stop_zelo_initialisations; ++function) {
        (*function)();
    }
}

void endLibrary()
{
    Inside const inside;
    while (!endings.empty()) {
        Ending const last = endings.back();
        endings.pop_back();
        last.function(last.argument);
    }
}

void checkNothingRuns()
{
    world().scheduler.touchOutside();
    for (Fiber const& fiber : world().scheduler.all()) {
        bool const isThere = fiber.state == Fiber::State::Ready || fiber.state == Fiber::State::Blocked;
        if (fiber.role == Role::Library && isThere) {
            fail("after exit", "the thread " + fiber.name + " is there");
        }
    }
}

void checkNothingIsLeft()
{
    for (Fiber const& fiber : world().scheduler.all()) {
        bool const isThere = fiber.state == Fiber::State::Ready || fiber.state == Fiber::State::Blocked;
        if (fiber.role == Role::Library && isThere) {
            fail("left over", "the thread " + fiber.name + " after the unload");
        }
        if (fiber.role == Role::Library && fiber.state == Fiber::State::Ended && !fiber.joined) {
            fail("left over", "the thread " + fiber.name + " was never joined");
        }
    }
    if (world().sockets.librarySockets() != 0) {
        fail("left over", "an open socket after the unload");
    }
    if (memory().liveBlocks() != 0) {
        fail("left over", std::to_string(memory().liveBlocks()) +
                              " blocks of memory after the unload, the first from " + placeOf(memory().placeOfLeak()));
    }
}

} // namespace simulation

extern "C" int simulated___cxa_atexit(void (*function)(void*), void* argument, void*)
{
    simulation::Outside const outside;
    simulation::world().scheduler.touchOutside();
    simulation::endings.push_back({function, argument});
    return 0;
}
