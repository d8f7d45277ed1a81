// What the compiler's instrumentation calls at each access to memory and each function of the library.
#include "tests/simulation/Memory.h"
#include "tests/simulation/World.h"

namespace {

using namespace simulation;

inline uintptr_t number(void const* address)
{
    return reinterpret_cast<uintptr_t>(address);
}

inline void touch(void const* address, size_t size, bool isWrite, void const* place)
{
    if (isWorldThere() && world().scheduler.isInWorld()) {
        memory().check(number(address), size, Access{isWrite, false, number(place)}, self());
    }
}

} // namespace

#define ZELO_ACCESS_HOOKS(size)                                                                                        \
    void __tsan_read##size(void* address)                                                                              \
    {                                                                                                                  \
        touch(address, size, false, __builtin_return_address(0));                                                      \
    }                                                                                                                  \
    void __tsan_write##size(void* address)                                                                             \
    {                                                                                                                  \
        touch(address, size, true, __builtin_return_address(0));                                                       \
    }                                                                                                                  \
    void __tsan_unaligned_read##size(void* address)                                                                    \
    {                                                                                                                  \
        touch(address, size, false, __builtin_return_address(0));                                                      \
    }                                                                                                                  \
    void __tsan_unaligned_write##size(void* address)                                                                   \
    {                                                                                                                  \
        touch(address, size, true, __builtin_return_address(0));                                                       \
    }

extern "C" {

ZELO_ACCESS_HOOKS(1)
ZELO_ACCESS_HOOKS(2)
ZELO_ACCESS_HOOKS(4)
ZELO_ACCESS_HOOKS(8)
ZELO_ACCESS_HOOKS(16)

void __tsan_read_range(void* address, size_t size)
{
    touch(address, size, false, __builtin_return_address(0));
}

void __tsan_write_range(void* address, size_t size)
{
    touch(address, size, true, __builtin_return_address(0));
}

/// A destructor stores the table that is there already; only another one is a write.
void __tsan_vptr_update(void** address, void* next)
{
    touch(address, sizeof *address, *address != next, __builtin_return_address(0));
}

void __tsan_vptr_read(void** address)
{
    touch(address, sizeof *address, false, __builtin_return_address(0));
}

void __tsan_func_entry(void* caller)
{
    if (isWorldThere() && world().scheduler.isInWorld()) {
        self().calls.push(static_cast<uint32_t>(number(caller)));
    }
}

void __tsan_func_exit()
{
    if (isWorldThere() && world().scheduler.isInWorld()) {
        self().calls.pop();
    }
}

void __tsan_init() {}
}
