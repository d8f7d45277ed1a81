#include "cobalt/LifeCycle.h"

#include <sys/types.h>
#include <unistd.h>

#include <atomic>

#include "src/common/Log.h"
#include "src/common/NoDestructor.h"
#include "src/common/STBThread.h"

namespace {

char const* const sourceFile = "cobalt/ZeloCobalt";

enum Line : int { LineRefused = 61 };

NoDestructor<pthread_helper::mutex> managerMutexRoom;
NoDestructor<pthread_helper::mutex> changeMutexRoom;
NoDestructor<std::unique_ptr<CobaltManager>> managerRoom;
NoDestructor<ThreadRegistry> callsRoom;

/// Held while a manager is made and put into #cobaltManager, so that no stop comes in between and misses it, and while
/// one is stopped. The first of all locks.
pthread_helper::mutex& changeMutex = changeMutexRoom.make();
ThreadRegistry& calls = callsRoom.make();

std::atomic<pid_t> callingProcess{0}; ///< the process that has the threads of #cobaltManager

/// Set when the end of the process or of the library has begun: a start that enters later makes no manager, because
/// nobody would be left to end it.
std::atomic<bool> hasEnd{false};

/// While the end destroys the manager. A stop that finds none then waits, because a callback may still run.
std::atomic<bool> isEndingManager{false};

} // namespace

pthread_helper::mutex& cobaltManagerMutex = managerMutexRoom.make();
std::unique_ptr<CobaltManager>& cobaltManager = managerRoom.make();

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
        hasEnd = true;
        // A forked child has inherited the objects but not the threads, one of which may have held any lock.
        if (callingProcess == getpid()) {
            endManager();
            CobaltManager::forgetTexts();
        }
    }

private:
    static void endManager()
    {
        // An exit from a callback runs on a thread that cannot wait for itself. The manager then stays, for the rest of
        // a process that is ending.
        if (STBThread::isOwnThread()) {
            return;
        }
        if (LifeCycleCall* const interrupted = LifeCycleCall::ofThisThread()) {
            interrupted->end();
        }
        while (LifeCycleCall::areAnyUnderWay()) {
            usleep(1000);
            destroyManager(); // of a start that waits, or had only begun
        }
        destroyManager(); // of one that has returned
    }

    static void destroyManager()
    {
        isEndingManager = true; // before the manager is taken, so that a stop which finds none sees it
        exchangeManager(nullptr).reset();
        isEndingManager = false;
    }
} const managerEnd;

} // namespace

LifeCycleCall::LifeCycleCall() : ThreadRegistry::Entry(calls)
{
    callingProcess = getpid();
}

CobaltManager* LifeCycleCall::start(ZeloCallbacks const& callbacks)
{
    std::unique_ptr<CobaltManager> earlier;
    CobaltManager* manager;
    {
        pthread_helper::guard lock(changeMutex);
        enter(); // not before: an exit inside a stop would wait for those who wait for that stop
        if (hasEnd) {
            return nullptr;
        }
        std::unique_ptr<CobaltManager> next(new CobaltManager(callbacks));
        manager = next.get();
        hold.reset(new CobaltManager::Hold(*manager));
        earlier = exchangeManager(std::move(next));
    }
    earlier.reset();
    return manager;
}

void LifeCycleCall::stop()
{
    pthread_helper::guard lock(changeMutex);
    enter();
    exchangeManager(nullptr).reset();
    while (isEndingManager) {
        usleep(1000);
    }
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

bool isRefusedHere(char const* function)
{
    char const* where = nullptr;
    if (STBThread::isOwnThread()) {
        where = "on a thread of the library";
    } else if (LifeCycleCall::ofThisThread() != nullptr) {
        where = "inside another start or stop";
    }
    if (where == nullptr) {
        return false;
    }
    ZELO_LOG(LogFailure, LineRefused, sourceFile, "%s ignored: called %s", function, where);
    return true;
}
