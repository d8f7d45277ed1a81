/// @file
/// Registry of the threads that are inside something.
#ifndef ZELO_COMMON_THREADREGISTRY_H
#define ZELO_COMMON_THREADREGISTRY_H

#include <pthread.h>

#include "inc/private/pthread_helper.h"
#include "inc/private/thread_annotations.h"

/// Which threads have entered and not yet left. Not a thread_local variable: the first use of one on a thread takes the
/// dynamic loader's lock, which an unload holds while it waits for the library's threads.
class ThreadRegistry {
public:
    /// The entry of one thread, from enter() to leave() or to its own end. Belongs to that thread.
    class Entry {
    public:
        explicit Entry(ThreadRegistry& owningRegistry) : registry(owningRegistry) {}
        ~Entry() { leave(); }
        Entry(Entry const&) = delete;
        Entry& operator=(Entry const&) = delete;

        void enter();
        void leave();

    private:
        friend class ThreadRegistry;

        ThreadRegistry& registry;
        bool isEntered = false;
        pthread_t thread{};
        Entry* following = nullptr; // guarded by the registry's mutex
    };

    /// @return the latest entry of the calling thread, null if it has none
    Entry* ofThisThread() EXCLUDES(mutex);

    bool isEmpty() EXCLUDES(mutex);

private:
    pthread_helper::mutex mutex; // a leaf
    Entry* first GUARDED_BY(mutex) = nullptr;
};

#endif
