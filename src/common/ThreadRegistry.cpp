#include "src/common/ThreadRegistry.h"

void ThreadRegistry::Entry::enter()
{
    thread = pthread_self();
    isEntered = true;
    pthread_helper::guard lock(registry.mutex);
    following = registry.first; // the entries are the list, so a thread can be entered without memory
    registry.first = this;
}

void ThreadRegistry::Entry::leave()
{
    if (!isEntered) {
        return;
    }
    isEntered = false;
    pthread_helper::guard lock(registry.mutex);
    Entry** link = &registry.first;
    while (*link != this) {
        link = &(*link)->following;
    }
    *link = following;
}

ThreadRegistry::Entry* ThreadRegistry::ofThisThread()
{
    pthread_helper::guard lock(mutex);
    Entry* entry = first;
    while (entry != nullptr && pthread_equal(entry->thread, pthread_self()) == 0) {
        entry = entry->following;
    }
    return entry;
}

bool ThreadRegistry::isEmpty()
{
    pthread_helper::guard lock(mutex);
    return first == nullptr;
}
