#include "tests/simulation/Fibers.h"

#include <cxxabi.h>
#include <string.h>
#include <ucontext.h>

namespace simulation {

namespace {

jmp_buf outside;
uint64_t outsideExceptions[2];
Fiber* beginning;

void keepExceptions(uint64_t* kept)
{
    memcpy(kept, abi::__cxa_get_globals(), sizeof outsideExceptions);
}

void restoreExceptions(uint64_t const* kept)
{
    memcpy(abi::__cxa_get_globals(), kept, sizeof outsideExceptions);
}

void begin()
{
    beginning->body();
}

[[noreturn]] void resume(Fiber& next, char* stacks)
{
    restoreExceptions(next.exceptions);
    if (next.begun) {
        _longjmp(next.context, 1);
    }
    next.begun = true;
    beginning = &next;
    ucontext_t context;
    getcontext(&context);
    context.uc_stack.ss_sp = stacks + static_cast<size_t>(next.number) * stackSize;
    context.uc_stack.ss_size = stackSize;
    context.uc_link = nullptr;
    makecontext(&context, begin, 0);
    setcontext(&context);
    __builtin_unreachable();
}

} // namespace

void changeOver(Fiber* from, Fiber& next, char* stacks)
{
    keepExceptions(from->exceptions);
    if (_setjmp(from->context) == 0) {
        resume(next, stacks);
    }
}

void enterWorld(Fiber& first, char* stacks)
{
    keepExceptions(outsideExceptions);
    if (_setjmp(outside) == 0) {
        resume(first, stacks);
    }
    restoreExceptions(outsideExceptions);
}

void leaveWorld()
{
    _longjmp(outside, 1);
}

} // namespace simulation
