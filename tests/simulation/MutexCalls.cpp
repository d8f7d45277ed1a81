// The library's calls of pthread_mutex_* and pthread_cond_*.
#include <errno.h>
#include <pthread.h>
#include <string.h>
#include <time.h>

#include "tests/simulation/Memory.h"
#include "tests/simulation/Trace.h"
#include "tests/simulation/World.h"

namespace {

using namespace simulation;

#define PLACE reinterpret_cast<uintptr_t>(__builtin_return_address(0))

uintptr_t keyOf(void const* object)
{
    return reinterpret_cast<uintptr_t>(object);
}

/// Its memory must be there; that it is used by several threads is what it is for.
void touch(void const* object, uintptr_t place)
{
    memory().check(keyOf(object), 8, Access{false, true, place}, self());
}

Mutex& mutexAt(pthread_mutex_t* handle, uintptr_t place)
{
    touch(handle, place);
    auto& mutexes = world().synchronization.mutexes;
    auto found = mutexes.find(keyOf(handle));
    if (found == mutexes.end()) {
        static pthread_mutex_t const initializer = PTHREAD_MUTEX_INITIALIZER;
        if (memcmp(handle, &initializer, sizeof initializer) != 0) {
            fail("mutex", "used without an initialisation, at " + placeOf(place));
        }
        found = mutexes.emplace(keyOf(handle), Mutex()).first;
        found->second.number = world().synchronization.nextNumber++;
    }
    if (found->second.destroyed) {
        fail("mutex", "used after its destruction, at " + placeOf(place));
    }
    return found->second;
}

Condition& conditionAt(pthread_cond_t* handle, uintptr_t place)
{
    touch(handle, place);
    auto& conditions = world().synchronization.conditions;
    auto found = conditions.find(keyOf(handle));
    if (found == conditions.end()) {
        fail("condition", "used without an initialisation, at " + placeOf(place));
    }
    if (found->second.destroyed) {
        fail("condition", "used after its destruction, at " + placeOf(place));
    }
    return found->second;
}

int lock(pthread_mutex_t* handle, uintptr_t place)
{
    Mutex* mutex = &mutexAt(handle, place);
    if (mutex->owner == self().number && mutex->type == PTHREAD_MUTEX_ERRORCHECK) {
        return EDEADLK;
    }
    bool waited = false;
    while (mutex->owner >= 0) {
        if (!waited) {
            TRACE("waits for mutex %d of %s", mutex->number,
                  world().scheduler.all()[static_cast<size_t>(mutex->owner)].name.c_str());
        }
        waited = true;
        world().scheduler.block(handle, never);
        mutex = &mutexAt(handle, place);
    }
    mutex->owner = self().number;
    world().scheduler.touch(handle);
    world().scheduler.acquire(mutex->clock);
    TRACE("locks mutex %d", mutex->number);
    return 0;
}

int unlock(pthread_mutex_t* handle, uintptr_t place)
{
    Mutex& mutex = mutexAt(handle, place);
    if (mutex.owner != self().number) {
        if (mutex.type != PTHREAD_MUTEX_ERRORCHECK) {
            fail("mutex", "released by a thread that does not hold it, at " + placeOf(place));
        }
        return EPERM;
    }
    world().scheduler.release(mutex.clock);
    world().scheduler.touch(handle);
    mutex.owner = -1;
    world().scheduler.wake(handle);
    TRACE("unlocks mutex %d", mutex.number);
    return 0;
}

/// Releases the mutex, waits, and has the mutex again.
int wait(pthread_cond_t* condition, pthread_mutex_t* handle, int64_t deadline, bool onWallClock, uintptr_t place)
{
    world().scheduler.step();
    Condition& waited = conditionAt(condition, place);
    ++waited.waits;
    world().scheduler.touch(condition);
    if (mutexAt(handle, place).owner != self().number) {
        return EPERM;
    }
    TRACE("waits for condition %d", waited.number);
    unlock(handle, place);
    bool inTime;
    if (world().faults.strikes(Fault::Spurious)) {
        world().scheduler.step();
        inTime = true;
        TRACE("wakes up spuriously");
    } else {
        inTime = world().scheduler.block(condition, deadline, onWallClock);
    }
    if (!inTime) {
        TRACE("has waited long enough for condition %d", conditionAt(condition, place).number);
    }
    --conditionAt(condition, place).waits;
    world().scheduler.touch(condition);
    lock(handle, place);
    return inTime ? 0 : ETIMEDOUT;
}

int64_t microseconds(timespec const* time)
{
    return int64_t{time->tv_sec} * 1000000 + time->tv_nsec / 1000;
}

void initialise(pthread_cond_t* handle, int clockId)
{
    Condition& condition = world().synchronization.conditions[keyOf(handle)];
    condition = Condition();
    condition.number = world().synchronization.nextNumber++;
    condition.clockId = clockId;
}

int signal(pthread_cond_t* handle, bool all, uintptr_t place)
{
    Outside const outside(place);
    world().scheduler.step();
    TRACE("%s condition %d", all ? "broadcasts" : "signals", conditionAt(handle, place).number);
    world().scheduler.touch(handle);
    // A signal may wake more than one; that it wakes one is all that callers may count on.
    Scheduler& scheduler = world().scheduler;
    if (all) {
        scheduler.wake(handle);
        return 0;
    }
    std::vector<Fiber*> waiting;
    for (Fiber& fiber : scheduler.all()) {
        if (fiber.state == Fiber::State::Blocked && fiber.waitsFor == handle) {
            waiting.push_back(&fiber);
        }
    }
    if (!waiting.empty()) {
        waiting[world().faults.choose(static_cast<uint32_t>(waiting.size()))]->state = Fiber::State::Ready;
    }
    return 0;
}

} // namespace

extern "C" {

int simulated_pthread_mutexattr_init(pthread_mutexattr_t* attributes)
{
    int const type = PTHREAD_MUTEX_NORMAL;
    memcpy(attributes, &type, sizeof type);
    return 0;
}

int simulated_pthread_mutexattr_settype(pthread_mutexattr_t* attributes, int type)
{
    memcpy(attributes, &type, sizeof type);
    return 0;
}

int simulated_pthread_mutexattr_destroy(pthread_mutexattr_t*)
{
    return 0;
}

int simulated_pthread_mutex_init(pthread_mutex_t* handle, pthread_mutexattr_t const* attributes)
{
    Outside const outside(PLACE);
    Mutex mutex;
    mutex.number = world().synchronization.nextNumber++;
    if (attributes != nullptr) {
        memcpy(&mutex.type, attributes, sizeof mutex.type);
    }
    memory().check(keyOf(handle), sizeof *handle, Access{true, false, PLACE}, self());
    world().synchronization.mutexes[keyOf(handle)] = mutex;
    world().scheduler.touch(handle);
    return 0;
}

int simulated_pthread_mutex_destroy(pthread_mutex_t* handle)
{
    Outside const outside(PLACE);
    world().scheduler.minorStep();
    Mutex& mutex = mutexAt(handle, PLACE);
    if (mutex.owner >= 0) {
        return EBUSY;
    }
    memory().check(keyOf(handle), sizeof *handle, Access{true, false, PLACE}, self());
    mutex.destroyed = true;
    world().scheduler.touch(handle);
    return 0;
}

int simulated_pthread_mutex_lock(pthread_mutex_t* handle)
{
    Outside const outside(PLACE);
    world().scheduler.step();
    return lock(handle, PLACE);
}

int simulated_pthread_mutex_trylock(pthread_mutex_t* handle)
{
    Outside const outside(PLACE);
    world().scheduler.step();
    world().scheduler.touch(handle, false);
    return mutexAt(handle, PLACE).owner >= 0 ? EBUSY : lock(handle, PLACE);
}

int simulated_pthread_mutex_unlock(pthread_mutex_t* handle)
{
    Outside const outside(PLACE);
    world().scheduler.minorStep();
    return unlock(handle, PLACE);
}

int simulated_pthread_condattr_init(pthread_condattr_t* attributes)
{
    int const clockId = CLOCK_REALTIME;
    memcpy(attributes, &clockId, sizeof clockId);
    return 0;
}

int simulated_pthread_condattr_setclock(pthread_condattr_t* attributes, clockid_t clockId)
{
    memcpy(attributes, &clockId, sizeof clockId);
    return 0;
}

int simulated_pthread_condattr_destroy(pthread_condattr_t*)
{
    return 0;
}

int simulated_pthread_cond_init(pthread_cond_t* handle, pthread_condattr_t const* attributes)
{
    Outside const outside(PLACE);
    int clockId = CLOCK_REALTIME;
    if (attributes != nullptr) {
        memcpy(&clockId, attributes, sizeof clockId);
    }
    memory().check(keyOf(handle), sizeof *handle, Access{true, false, PLACE}, self());
    initialise(handle, clockId);
    world().scheduler.touch(handle);
    return 0;
}

int simulated_pthread_cond_destroy(pthread_cond_t* handle)
{
    Outside const outside(PLACE);
    world().scheduler.minorStep();
    Condition& condition = conditionAt(handle, PLACE);
    if (condition.waits != 0) {
        fail("condition", "destroyed while a thread waits for it, at " + placeOf(PLACE));
    }
    memory().check(keyOf(handle), sizeof *handle, Access{true, false, PLACE}, self());
    condition.destroyed = true;
    world().scheduler.touch(handle);
    return 0;
}

int simulated_pthread_cond_wait(pthread_cond_t* condition, pthread_mutex_t* mutex)
{
    Outside const outside(PLACE);
    return wait(condition, mutex, never, false, PLACE);
}

int simulated_pthread_cond_timedwait(pthread_cond_t* condition, pthread_mutex_t* mutex, timespec const* until)
{
    Outside const outside(PLACE);
    bool const onWallClock = conditionAt(condition, PLACE).clockId == CLOCK_REALTIME;
    int64_t const offset = onWallClock ? world().scheduler.wallClock() - world().scheduler.now() : 0;
    return wait(condition, mutex, microseconds(until) - offset, onWallClock, PLACE);
}

int simulated_pthread_cond_clockwait(pthread_cond_t* condition, pthread_mutex_t* mutex, clockid_t clockId,
                                     timespec const* until)
{
    Outside const outside(PLACE);
    bool const onWallClock = clockId == CLOCK_REALTIME;
    int64_t const offset = onWallClock ? world().scheduler.wallClock() - world().scheduler.now() : 0;
    return wait(condition, mutex, microseconds(until) - offset, onWallClock, PLACE);
}

int simulated_pthread_cond_signal(pthread_cond_t* handle)
{
    return signal(handle, false, PLACE);
}

int simulated_pthread_cond_broadcast(pthread_cond_t* handle)
{
    return signal(handle, true, PLACE);
}
}
