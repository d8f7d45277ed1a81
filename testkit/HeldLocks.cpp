#include "testkit/HeldLocks.h"

#include <pthread.h>

#include <algorithm>
#include <atomic>

namespace {

thread_local std::vector<void const*> locks;
thread_local bool observing = false;
std::atomic<std::function<void(heldlocks::Call const&)>*> current{nullptr};

void see(heldlocks::Function function, void const* object)
{
    std::function<void(heldlocks::Call const&)>* const observer = current;
    if (observer != nullptr && !observing) {
        observing = true; // what the observer calls is nobody's news
        (*observer)({function, object, locks});
        observing = false;
    }
}

} // namespace

std::vector<void const*> heldlocks::held()
{
    return locks;
}

void heldlocks::observe(std::function<void(Call const&)> observer)
{
    // The one before may just be called.
    current = observer ? new std::function<void(Call const&)>(std::move(observer)) : nullptr;
}

extern "C" {

int __real_pthread_mutex_lock(pthread_mutex_t* mutex);
int __real_pthread_mutex_unlock(pthread_mutex_t* mutex);
int __real_pthread_mutex_destroy(pthread_mutex_t* mutex);
int __real_pthread_cond_broadcast(pthread_cond_t* cond);
int __real_pthread_cond_destroy(pthread_cond_t* cond);
int __real_pthread_create(pthread_t* thread, pthread_attr_t const* attributes, void* (*body)(void*), void* argument);
int __real_pthread_join(pthread_t thread, void** result);

int __wrap_pthread_mutex_lock(pthread_mutex_t* mutex)
{
    see(heldlocks::Function::MutexLock, mutex);
    int const result = __real_pthread_mutex_lock(mutex);
    if (result == 0) {
        locks.push_back(mutex);
    }
    return result;
}

int __wrap_pthread_mutex_unlock(pthread_mutex_t* mutex)
{
    auto const found = std::find(locks.begin(), locks.end(), mutex);
    if (found != locks.end()) {
        locks.erase(found);
    }
    return __real_pthread_mutex_unlock(mutex);
}

int __wrap_pthread_mutex_destroy(pthread_mutex_t* mutex)
{
    see(heldlocks::Function::MutexDestroy, mutex);
    return __real_pthread_mutex_destroy(mutex);
}

int __wrap_pthread_cond_broadcast(pthread_cond_t* cond)
{
    see(heldlocks::Function::CondBroadcast, cond);
    return __real_pthread_cond_broadcast(cond);
}

int __wrap_pthread_cond_destroy(pthread_cond_t* cond)
{
    see(heldlocks::Function::CondDestroy, cond);
    return __real_pthread_cond_destroy(cond);
}

int __wrap_pthread_create(pthread_t* thread, pthread_attr_t const* attributes, void* (*body)(void*), void* argument)
{
    see(heldlocks::Function::ThreadCreate, attributes);
    return __real_pthread_create(thread, attributes, body, argument);
}

int __wrap_pthread_join(pthread_t thread, void** result)
{
    see(heldlocks::Function::ThreadJoin, nullptr);
    return __real_pthread_join(thread, result);
}

} // extern "C"
