/// @file
/// The one manager of the process: who owns it, and which starts and stops are under way.
#ifndef ZELO_COBALT_LIFECYCLE_H
#define ZELO_COBALT_LIFECYCLE_H

#include <memory>

#include "cobalt/CobaltManager.h"
#include "inc/private/pthread_helper.h"
#include "inc/private/thread_annotations.h"
#include "src/common/ThreadRegistry.h"

/// Guards #cobaltManager. Taken after a client's handler lock, because callbacks may make requests; before its sender
/// lock.
extern pthread_helper::mutex& cobaltManagerMutex;

/// The one manager; empty when stopped.
extern std::unique_ptr<CobaltManager>& cobaltManager GUARDED_BY(cobaltManagerMutex);

/// One start or stop, until end(). `exit` and an unload wait for every one that is under way, except for one of
/// their own thread, which will not go on: a signal handler or the host's logger may have called them.
class LifeCycleCall : private ThreadRegistry::Entry {
public:
    LifeCycleCall();
    ~LifeCycleCall() { end(); }

    /// Puts a new manager into #cobaltManager and then destroys the one that was there.
    ///
    /// @return the new manager, which stays in place until the end of the call; null if the process is ending
    CobaltManager* start(ZeloCallbacks const& callbacks) EXCLUDES(cobaltManagerMutex);

    /// Destroys the manager if there is one. Returns after its end also when another thread is stopping it.
    void stop() EXCLUDES(cobaltManagerMutex);

    void end();

    /// @return the call that the calling thread is in, null if it is in none
    static LifeCycleCall* ofThisThread();
    static bool areAnyUnderWay();

private:
    std::unique_ptr<CobaltManager::Hold> hold;
};

/// Refuses a start or a stop where it would wait for itself: on the library's own threads, which call the host back and
/// log, and inside another start or stop. A refusal is logged.
///
/// @param function  the entry point, for the log
bool isRefusedHere(char const* function);

#endif
