// What the compiler's instrumentation calls instead of each atomic operation of the library.
//
// The operations take effect in the order of the schedule. The memory orders decide what happens before what, so a
// missing release or acquire shows as a data race on what it should have published; that a relaxed read may see an old
// value is not simulated.
#include "tests/simulation/Memory.h"
#include "tests/simulation/Trace.h"
#include "tests/simulation/World.h"

namespace {

using namespace simulation;

// As in the standard's enumeration.
bool acquires(int order)
{
    return order == __ATOMIC_CONSUME || order == __ATOMIC_ACQUIRE || order >= __ATOMIC_ACQ_REL;
}

bool releases(int order)
{
    return order >= __ATOMIC_RELEASE;
}

static_assert(__ATOMIC_RELEASE == 3 && __ATOMIC_ACQ_REL == 4 && __ATOMIC_SEQ_CST == 5, "the orders of the hooks");

VectorClock& clockOf(void const volatile* address)
{
    return world().synchronization.atomics[reinterpret_cast<uintptr_t>(address)];
}

template <typename T> void before(T const volatile* address, bool isWrite, void const* place)
{
    world().scheduler.step();
    world().scheduler.touch(const_cast<T const*>(address), isWrite);
    memory().check(reinterpret_cast<uintptr_t>(address), sizeof(T),
                   Access{isWrite, true, reinterpret_cast<uintptr_t>(place)}, self());
}

void acquire(void const volatile* address, int order)
{
    if (acquires(order)) {
        world().scheduler.acquire(clockOf(address));
    }
}

template <typename T> T load(T const volatile* address, int order, void const* place)
{
    if (!isWorldThere() || !world().scheduler.isInWorld()) {
        return *address;
    }
    Outside const outside(reinterpret_cast<uintptr_t>(place));
    before(address, false, place);
    acquire(address, order);
    return *address;
}

template <typename T> void store(T volatile* address, T value, int order, void const* place)
{
    Outside const outside(reinterpret_cast<uintptr_t>(place));
    before(address, true, place);
    VectorClock& clock = clockOf(address);
    clock = VectorClock();
    if (releases(order)) {
        world().scheduler.release(clock);
    }
    *address = value;
    TRACE("atomic store %lld", static_cast<long long>(value));
}

template <typename T, typename Change> T modify(T volatile* address, int order, void const* place, Change change)
{
    Outside const outside(reinterpret_cast<uintptr_t>(place));
    before(address, true, place);
    acquire(address, order);
    if (releases(order)) {
        world().scheduler.release(clockOf(address));
    }
    T const old = *address;
    *address = change(old);
    TRACE("atomic change %lld to %lld", static_cast<long long>(old), static_cast<long long>(*address));
    return old;
}

template <typename T>
bool exchangeIf(T volatile* address, T* expected, T desired, int order, int failureOrder, void const* place)
{
    Outside const outside(reinterpret_cast<uintptr_t>(place));
    before(address, true, place);
    T const old = *address;
    bool const equal = old == *expected;
    acquire(address, equal ? order : failureOrder);
    if (!equal) {
        *expected = old;
        return false;
    }
    if (releases(order)) {
        world().scheduler.release(clockOf(address));
    }
    *address = desired;
    return true;
}

} // namespace

#define ZELO_FETCH_HOOK(bits, type, name, expression)                                                                  \
    type __tsan_atomic##bits##_##name(type volatile* address, type value, int order)                                   \
    {                                                                                                                  \
        return modify(address, order, __builtin_return_address(0),                                                     \
                      [value](type old) { return static_cast<type>(expression); });                                    \
    }

#define ZELO_ATOMIC_HOOKS(bits, type)                                                                                  \
    type __tsan_atomic##bits##_load(type const volatile* address, int order)                                           \
    {                                                                                                                  \
        return load(address, order, __builtin_return_address(0));                                                      \
    }                                                                                                                  \
    void __tsan_atomic##bits##_store(type volatile* address, type value, int order)                                    \
    {                                                                                                                  \
        store(address, value, order, __builtin_return_address(0));                                                     \
    }                                                                                                                  \
    int __tsan_atomic##bits##_compare_exchange_strong(type volatile* address, type* expected, type desired, int order, \
                                                      int failureOrder)                                                \
    {                                                                                                                  \
        return exchangeIf(address, expected, desired, order, failureOrder, __builtin_return_address(0)) ? 1 : 0;       \
    }                                                                                                                  \
    int __tsan_atomic##bits##_compare_exchange_weak(type volatile* address, type* expected, type desired, int order,   \
                                                    int failureOrder)                                                  \
    {                                                                                                                  \
        return exchangeIf(address, expected, desired, order, failureOrder, __builtin_return_address(0)) ? 1 : 0;       \
    }                                                                                                                  \
    ZELO_FETCH_HOOK(bits, type, exchange, (static_cast<void>(old), value))                                             \
    ZELO_FETCH_HOOK(bits, type, fetch_add, old + value)                                                                \
    ZELO_FETCH_HOOK(bits, type, fetch_sub, old - value)                                                                \
    ZELO_FETCH_HOOK(bits, type, fetch_and, old& value)                                                                 \
    ZELO_FETCH_HOOK(bits, type, fetch_or, old | value)                                                                 \
    ZELO_FETCH_HOOK(bits, type, fetch_xor, old ^ value)

extern "C" {

ZELO_ATOMIC_HOOKS(8, uint8_t)
ZELO_ATOMIC_HOOKS(16, uint16_t)
ZELO_ATOMIC_HOOKS(32, uint32_t)
ZELO_ATOMIC_HOOKS(64, uint64_t)

void __tsan_atomic_thread_fence(int)
{
    Outside const outside;
    world().scheduler.step();
}

void __tsan_atomic_signal_fence(int) {}
}
