/// @file
/// The locks that a thread holds when it does something.
#ifndef ZELO_TESTKIT_HELDLOCKS_H
#define ZELO_TESTKIT_HELDLOCKS_H

#include <functional>
#include <vector>

namespace heldlocks {

enum class Function { MutexLock, MutexDestroy, CondBroadcast, CondDestroy, ThreadCreate, ThreadJoin };

/// One call, seen before it is made.
struct Call {
    Function function;
    void const* object;            ///< the lock or the condition; of ThreadCreate the attributes
    std::vector<void const*> held; ///< by the calling thread, in the order in which it took them
};

/// The locks of the calling thread, in the order in which it took them.
std::vector<void const*> held();

/// Calls @p observer for every call, on its thread; empty to remove.
void observe(std::function<void(Call const&)> observer);

} // namespace heldlocks

#endif
