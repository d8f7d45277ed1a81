#include "testkit/HeldLocks.h"

#include <algorithm>
#include <atomic>
#include <deque>

#include "testkit/Interpose.h"

namespace {

using heldlocks::Function;
using interpose::Takeover;
using interpose::Threads;

/// Needs no destructor: a thread takes locks until its very end.
struct Locks {
    void const* held[64];
    size_t count;
};

thread_local Locks locks;
thread_local bool observing = false;
std::atomic<std::function<void(heldlocks::Call const&)>*> current{nullptr};

void see(Function function, void const* object)
{
    std::function<void(heldlocks::Call const&)>* const observer = current;
    if (observer != nullptr && !observing) {
        observing = true; // what the observer calls is nobody's news
        (*observer)({function, object, heldlocks::held()});
        observing = false;
    }
}

int lock(pthread_mutex_t* mutex)
{
    see(Function::MutexLock, mutex);
    int const result = interpose::pthread_mutex_lock.real(mutex);
    if (result == 0 && locks.count < std::size(locks.held)) {
        locks.held[locks.count++] = mutex;
    }
    return result;
}

int unlock(pthread_mutex_t* mutex)
{
    void const** const end = locks.held + locks.count;
    locks.count -= std::remove(locks.held, end, mutex) != end ? 1 : 0;
    return interpose::pthread_mutex_unlock.real(mutex);
}

struct Takeovers {
    Takeover<int(pthread_mutex_t*)> locking{interpose::pthread_mutex_lock, &lock, Threads::All};
    Takeover<int(pthread_mutex_t*)> unlocking{interpose::pthread_mutex_unlock, &unlock, Threads::All};
    Takeover<int(pthread_mutex_t*)> mutexEnd{interpose::pthread_mutex_destroy,
                                             [](pthread_mutex_t* mutex) {
                                                 see(Function::MutexDestroy, mutex);
                                                 return interpose::pthread_mutex_destroy.real(mutex);
                                             },
                                             Threads::All};
    Takeover<int(pthread_cond_t*)> broadcast{interpose::pthread_cond_broadcast,
                                             [](pthread_cond_t* condition) {
                                                 see(Function::CondBroadcast, condition);
                                                 return interpose::pthread_cond_broadcast.real(condition);
                                             },
                                             Threads::All};
    Takeover<int(pthread_cond_t*)> conditionEnd{interpose::pthread_cond_destroy,
                                                [](pthread_cond_t* condition) {
                                                    see(Function::CondDestroy, condition);
                                                    return interpose::pthread_cond_destroy.real(condition);
                                                },
                                                Threads::All};
    Takeover<int(pthread_t*, pthread_attr_t const*, void* (*)(void*), void*)> beginning{
        interpose::pthread_create,
        [](pthread_t* thread, pthread_attr_t const* attributes, void* (*body)(void*), void* argument) {
            see(Function::ThreadCreate, attributes);
            return interpose::pthread_create.real(thread, attributes, body, argument);
        },
        Threads::All};
    Takeover<int(pthread_t, void**)> joining{interpose::pthread_join,
                                             [](pthread_t thread, void** result) {
                                                 see(Function::ThreadJoin, nullptr);
                                                 return interpose::pthread_join.real(thread, result);
                                             },
                                             Threads::All};
};

Takeovers const& takeovers = *new Takeovers; // for the whole process

} // namespace

std::vector<void const*> heldlocks::held()
{
    return std::vector<void const*>(locks.held, locks.held + locks.count);
}

void heldlocks::observe(std::function<void(Call const&)> observer)
{
    static_cast<void>(takeovers);
    // The one before may just be called, so all of them are kept.
    static std::deque<std::function<void(Call const&)>> observers;
    bool const isOne = observer != nullptr;
    observers.push_back(std::move(observer));
    current = isOne ? &observers.back() : nullptr;
}
