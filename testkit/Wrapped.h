/// @file
/// Functions of the system that tests count and answer.
///
/// The program is linked with --wrap for each of them: every call from its own objects comes here, whatever the
/// compiler has made of it, and goes on to the real function unless a test has said otherwise.
#ifndef ZELO_TESTKIT_WRAPPED_H
#define ZELO_TESTKIT_WRAPPED_H

#include <stdint.h>
#include <sys/time.h>
#include <time.h>

namespace wrapped {

enum Function {
    MutexAttrInit,
    MutexAttrSetType,
    MutexInit,
    MutexDestroy,
    MutexLock,
    MutexUnlock,
    CondInit,
    CondDestroy,
    CondTimedWait,
    CondSignal,
    CondBroadcast,
    ThreadCreate,
    GetTimeOfDay,
    functionCount
};

/// The next call of @p function in this process returns @p result, not 0, and does nothing.
void failNext(Function function, int result);
/// @return how many calls failNext() has answered, in this process and in its children
unsigned failures(Function function);
/// @return how many calls there were, in this process and in its children
unsigned calls(Function function);

/// Moves the wall clock of gettimeofday().
void shiftWallClock(int64_t seconds);
/// Stops the wall clock of gettimeofday().
void stopWallClock(timeval now);
void restoreWallClock();

/// The deadline of the last pthread_cond_timedwait(). To be read when its thread has been joined.
timespec lastDeadline();

struct PriorityCall {
    int which;
    unsigned who;
    int value;
};
/// The last setpriority(). To be read when its thread has been joined.
PriorityCall lastPriority();

/// The next stack frame that is asked for its program counter has this one.
void setProgramCounter(uintptr_t address);

struct KillCall {
    int process;
    int signal;
};
/// From now on kill() only remembers.
void disarmKill();
KillCall lastKill();

} // namespace wrapped

#endif
