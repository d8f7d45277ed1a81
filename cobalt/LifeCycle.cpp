#include "cobalt/LifeCycle.h"

#include <sys/types.h>
#include <unistd.h>

#include <atomic>

#include "src/common/NoDestructor.h"
#include "src/common/STBThread.h"

namespace {

NoDestructor<pthread_helper::mutex> configMutexRoom;
NoDestructor<pthread_helper::mutex> managerMutexRoom;
NoDestructor<pthread_helper::mutex> changeMutexRoom;
NoDestructor<std::unique_ptr<CobaltManager>> managerRoom;
NoDestructor<ThreadRegistry> callsRoom;

/// Held while a manager is made and put into #cobaltManager, so that no stop comes in between and misses it, and while
/// one is stopped. The first of all locks.
pthread_helper::mutex& changeMutex = changeMutexRoom.make();
ThreadRegistry& calls = callsRoom.make();

std::atomic<pid_t> callingProcess{0}; ///< the process that has the threads of #cobaltManager

} // namespace

pthread_helper::mutex& CobaltManager::configMutex = configMutexRoom.make();
pthread_helper::mutex& cobaltManagerMutex = managerMutexRoom.make();
std::unique_ptr<CobaltManager>& cobaltManager = managerRoom.make();

// Between here and the end of the file the order decides: the configuration is destroyed after the manager.
CobaltManager::Config CobaltManager::_config;

namespace {

/// @return the manager that was there. It must be destroyed without the lock: its stop waits for a callback, which may
///         want the lock.
std::unique_ptr<CobaltManager> exchangeManager(std::unique_ptr<CobaltManager> next)
{
    pthread_helper::guard lock(cobaltManagerMutex);
    cobaltManager.swap(next);
    return next;
}

/// Stops a manager that is still there at exit or unload.
struct ManagerEnd {
    ~ManagerEnd()
    {
        // A forked child has inherited the manager but not its threads, and an exit from a callback runs on a thread
        // that cannot wait for itself. The manager then stays, for the rest of a process that is ending.
        if (callingProcess != getpid() || STBThread::isOwnThread()) {
            return;
        }
        if (LifeCycleCall* const interrupted = LifeCycleCall::ofThisThread()) {
            interrupted->end();
        }
        exchangeManager(nullptr).reset();
        while (LifeCycleCall::areAnyUnderWay()) {
            usleep(1000);
            exchangeManager(nullptr).reset(); // of a start that had only begun
        }
    }
} const managerEnd;

} // namespace

LifeCycleCall::LifeCycleCall() : ThreadRegistry::Entry(calls)
{
    callingProcess = getpid();
}

CobaltManager& LifeCycleCall::start(ZeloCallbacks const& callbacks)
{
    std::unique_ptr<CobaltManager> earlier;
    CobaltManager* manager;
    {
        pthread_helper::guard lock(changeMutex);
        enter(); // not before: an exit inside a stop would wait for those who wait for that stop
        std::unique_ptr<CobaltManager> next(new CobaltManager(callbacks));
        manager = next.get();
        hold.reset(new CobaltManager::Hold(*manager));
        earlier = exchangeManager(std::move(next));
    }
    earlier.reset();
    return *manager;
}

void LifeCycleCall::stop()
{
    pthread_helper::guard lock(changeMutex);
    enter();
    exchangeManager(nullptr).reset();
}

void LifeCycleCall::end()
{
    hold.reset();
    leave();
}

LifeCycleCall* LifeCycleCall::ofThisThread()
{
    return static_cast<LifeCycleCall*>(calls.ofThisThread());
}

bool LifeCycleCall::areAnyUnderWay()
{
    return !calls.isEmpty();
}

bool isInsideLibrary()
{
    return STBThread::isOwnThread() || LifeCycleCall::ofThisThread() != nullptr;
}
