#include "testkit/Wrapped.h"

#include <pthread.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <unwind.h>

#include <atomic>
#include <new>

#include "testkit/Coverage.h"

namespace wrapped {

namespace {

struct Counts {
    std::atomic<unsigned> calls;
    std::atomic<unsigned> failures;
};

/// In memory that children share.
Counts& countsOf(Function function)
{
    static Counts* const counts =
        static_cast<Counts*>(mmap(nullptr, sizeof(Counts) * functionCount, PROT_READ | PROT_WRITE,
                                  MAP_SHARED | MAP_ANONYMOUS, -1, 0)); // all zero
    return counts[function];
}

std::atomic<int> nextResult[functionCount];
std::atomic<int64_t> clockShift{0};
std::atomic<bool> clockStopped{false};
timeval stoppedClock;
timespec deadline;
PriorityCall priorityCall;
std::atomic<uintptr_t> programCounter{0};
bool killDisarmed = false;
KillCall killCall;

/// @return the result that a test wants, 0 if none does
int answer(Function function)
{
    int const result = nextResult[function].exchange(0);
    ++countsOf(function).calls;
    countsOf(function).failures += result != 0 ? 1 : 0;
    return result;
}

} // namespace

void failNext(Function function, int result)
{
    nextResult[function] = result;
}

unsigned failures(Function function)
{
    return countsOf(function).failures;
}

unsigned calls(Function function)
{
    return countsOf(function).calls;
}

void shiftWallClock(int64_t seconds)
{
    clockShift = seconds;
}

void stopWallClock(timeval now)
{
    stoppedClock = now;
    clockStopped = true;
}

void restoreWallClock()
{
    clockStopped = false;
    clockShift = 0;
}

timespec lastDeadline()
{
    return deadline;
}

PriorityCall lastPriority()
{
    return priorityCall;
}

void setProgramCounter(uintptr_t address)
{
    programCounter = address;
}

void disarmKill()
{
    killDisarmed = true;
}

KillCall lastKill()
{
    return killCall;
}

} // namespace wrapped

// The linker gives both names.
#define ZELO_WRAP(function, name, parameters, arguments)                                                               \
    extern "C" int __real_##name parameters;                                                                           \
    extern "C" int __wrap_##name parameters;                                                                           \
    int __wrap_##name parameters                                                                                       \
    {                                                                                                                  \
        int const result = wrapped::answer(wrapped::function);                                                         \
        return result != 0 ? result : __real_##name arguments;                                                         \
    }

ZELO_WRAP(MutexAttrInit, pthread_mutexattr_init, (pthread_mutexattr_t * attributes), (attributes))
ZELO_WRAP(MutexAttrSetType, pthread_mutexattr_settype, (pthread_mutexattr_t * attributes, int type), (attributes, type))
ZELO_WRAP(MutexInit, pthread_mutex_init, (pthread_mutex_t * mutex, pthread_mutexattr_t const* attributes),
          (mutex, attributes))
ZELO_WRAP(MutexDestroy, pthread_mutex_destroy, (pthread_mutex_t * mutex), (mutex))
ZELO_WRAP(MutexLock, pthread_mutex_lock, (pthread_mutex_t * mutex), (mutex))
ZELO_WRAP(MutexUnlock, pthread_mutex_unlock, (pthread_mutex_t * mutex), (mutex))
ZELO_WRAP(CondInit, pthread_cond_init, (pthread_cond_t * cond, pthread_condattr_t const* attributes),
          (cond, attributes))
ZELO_WRAP(CondDestroy, pthread_cond_destroy, (pthread_cond_t * cond), (cond))
ZELO_WRAP(CondSignal, pthread_cond_signal, (pthread_cond_t * cond), (cond))
ZELO_WRAP(CondBroadcast, pthread_cond_broadcast, (pthread_cond_t * cond), (cond))
ZELO_WRAP(ThreadCreate, pthread_create,
          (pthread_t * thread, pthread_attr_t const* attributes, void* (*body)(void*), void* argument),
          (thread, attributes, body, argument))

extern "C" {

int __real_pthread_cond_timedwait(pthread_cond_t* cond, pthread_mutex_t* mutex, timespec const* deadline);
int __wrap_pthread_cond_timedwait(pthread_cond_t* cond, pthread_mutex_t* mutex, timespec const* deadline)
{
    wrapped::deadline = *deadline;
    int const result = wrapped::answer(wrapped::CondTimedWait);
    return result != 0 ? result : __real_pthread_cond_timedwait(cond, mutex, deadline);
}

int __real_gettimeofday(timeval* now, void* zone);
int __wrap_gettimeofday(timeval* now, void* zone)
{
    int const failure = wrapped::answer(wrapped::GetTimeOfDay);
    if (failure != 0) {
        return failure; // and leaves the record as it is, as the C library does
    }
    int const result = __real_gettimeofday(now, zone);
    *now = wrapped::clockStopped ? wrapped::stoppedClock : *now;
    now->tv_sec += static_cast<time_t>(wrapped::clockShift);
    return result;
}

int __real_setpriority(int which, id_t who, int value);
int __wrap_setpriority(int which, id_t who, int value)
{
    wrapped::priorityCall = {which, who, value};
    return __real_setpriority(which, who, value);
}

int __real_kill(pid_t process, int signal);
int __wrap_kill(pid_t process, int signal)
{
    wrapped::killCall = {process, signal};
    coverage::write();
    return wrapped::killDisarmed ? 0 : __real_kill(process, signal);
}

#if defined(__arm__)
_Unwind_VRS_Result __real__Unwind_VRS_Get(_Unwind_Context* context, _Unwind_VRS_RegClass registers, _uw number,
                                          _Unwind_VRS_DataRepresentation representation, void* value);
_Unwind_VRS_Result __wrap__Unwind_VRS_Get(_Unwind_Context* context, _Unwind_VRS_RegClass registers, _uw number,
                                          _Unwind_VRS_DataRepresentation representation, void* value)
{
    _uw const address = wrapped::programCounter.exchange(0);
    if (address == 0) {
        return __real__Unwind_VRS_Get(context, registers, number, representation, value);
    }
    *static_cast<_uw*>(value) = address;
    return _UVRSR_OK;
}
#else
_Unwind_Ptr __real__Unwind_GetIP(_Unwind_Context* context);
_Unwind_Ptr __wrap__Unwind_GetIP(_Unwind_Context* context)
{
    uintptr_t const address = wrapped::programCounter.exchange(0);
    return address != 0 ? address : __real__Unwind_GetIP(context);
}
#endif
}
