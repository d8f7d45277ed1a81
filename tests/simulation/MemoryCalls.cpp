// Allocations of the library, and its calls of the C library that touch memory or print.
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <new>

#include "tests/simulation/Memory.h"
#include "tests/simulation/Trace.h"
#include "tests/simulation/World.h"

namespace {

using namespace simulation;

#define PLACE reinterpret_cast<uintptr_t>(__builtin_return_address(0))

bool isLibraryRunning()
{
    return isWorldThere() && world().scheduler.isInWorld() && self().inLibrary;
}

void touch(void const* address, size_t size, bool isWrite, uintptr_t place)
{
    if (size != 0) {
        memory().check(reinterpret_cast<uintptr_t>(address), size, Access{isWrite, false, place}, self());
    }
}

void* allocate(size_t size, uintptr_t place)
{
    if (!isLibraryRunning()) {
        return malloc(size == 0 ? 1 : size);
    }
    Outside const outside;
    if (world().faults.strikes(Fault::Memory)) {
        TRACE("there is no memory for %zu bytes", size);
        world().conduct.memoryFailed();
        return nullptr;
    }
    void* const block = memory().allocate(size, place);
    if (block == nullptr) {
        TRACE("there are no %zu bytes", size);
        world().conduct.memoryFailed();
    }
    return block;
}

void release(void* block, uintptr_t place)
{
    if (!memory().owns(block)) {
        free(block);
    } else if (isWorldThere() && world().scheduler.isInWorld()) {
        Outside const outside;
        memory().release(block, self(), place);
    }
}

} // namespace

void* operator new(size_t size)
{
    void* const block = allocate(size, PLACE);
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    return block;
}

void operator delete(void* block) noexcept
{
    release(block, PLACE);
}

void operator delete(void* block, size_t) noexcept
{
    release(block, PLACE);
}

extern "C" {

void* simulated_memcpy(void* to, void const* from, size_t size)
{
    touch(from, size, false, PLACE);
    touch(to, size, true, PLACE);
    return memcpy(to, from, size);
}

void* simulated_memmove(void* to, void const* from, size_t size)
{
    touch(from, size, false, PLACE);
    touch(to, size, true, PLACE);
    return memmove(to, from, size);
}

void* simulated_memset(void* to, int value, size_t size)
{
    touch(to, size, true, PLACE);
    return memset(to, value, size);
}

int simulated_memcmp(void const* left, void const* right, size_t size)
{
    touch(left, size, false, PLACE);
    touch(right, size, false, PLACE);
    return memcmp(left, right, size);
}

size_t simulated_strlen(char const* text)
{
    size_t const length = strlen(text);
    touch(text, length + 1, false, PLACE);
    return length;
}

char* simulated_getenv(char const* name)
{
    Outside const outside(PLACE);
    world().scheduler.touchOutside();
    auto const found = world().environment.find(name);
    return found == world().environment.end() ? nullptr : &found->second[0];
}

int simulated_setenv(char const* name, char const* value, int overwrite)
{
    Outside const outside(PLACE);
    world().scheduler.touchOutside();
    if (overwrite != 0 || world().environment.count(name) == 0) {
        world().environment[name] = value;
    }
    return 0;
}

int simulated_printf(char const* format, ...)
{
    Outside const outside(PLACE);
    char text[300];
    va_list arguments;
    va_start(arguments, format);
    int const length = vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    world().conduct.printed(text);
    return length;
}

int simulated_puts(char const*)
{
    return 0;
}

int simulated_fputs(char const*, FILE*)
{
    return 0;
}

int simulated_fputc(int character, FILE*)
{
    return character;
}

size_t simulated_fwrite(void const*, size_t, size_t count, FILE*)
{
    return count;
}

int simulated_fprintf(FILE*, char const*, ...)
{
    return 0;
}

int simulated_fflush(FILE*)
{
    return 0;
}

int simulated__Unwind_Backtrace(void*, void*)
{
    return 0;
}

/// The initialisation of a static variable in a function.
int simulated___cxa_guard_acquire(uint64_t* guard)
{
    Outside const outside(PLACE);
    Scheduler& scheduler = world().scheduler;
    scheduler.step();
    char* const states = reinterpret_cast<char*>(guard);
    while (states[0] == 0 && states[1] != 0) {
        scheduler.block(guard, never);
    }
    scheduler.touch(guard);
    scheduler.acquire(world().synchronization.atomics[reinterpret_cast<uintptr_t>(guard)]);
    if (states[0] != 0) {
        return 0;
    }
    states[1] = 1;
    return 1;
}

void simulated___cxa_guard_release(uint64_t* guard)
{
    Outside const outside(PLACE);
    char* const states = reinterpret_cast<char*>(guard);
    states[0] = 1;
    states[1] = 0;
    world().scheduler.touch(guard);
    world().scheduler.release(world().synchronization.atomics[reinterpret_cast<uintptr_t>(guard)]);
    world().scheduler.wake(guard);
}

void simulated___cxa_guard_abort(uint64_t* guard)
{
    Outside const outside(PLACE);
    world().scheduler.touch(guard);
    reinterpret_cast<char*>(guard)[1] = 0;
    world().scheduler.wake(guard);
}
}
