#include "src/common/STBThread.h"

#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <memory>

#include "src/common/Log.h"
#include "src/common/NoDestructor.h"
#include "src/common/ThreadRegistry.h"
#include "src/common/TimedWait.h"

namespace {

char const* const sourceFile = "src/common/STBThread";

enum Line : int {
    LineAlreadyRunning = 60,
    LineAlreadyStopped = 82,
};

NoDestructor<ThreadRegistry> ownThreadsRoom;
ThreadRegistry& ownThreads = ownThreadsRoom.make();

} // namespace

STBThread::~STBThread()
{
    endThread();
}

void STBThread::start(OnThreadCompletedListener* newListener)
{
    // Before anything is touched: a start that finds no memory leaves the object as it was.
    std::unique_ptr<UniqueThreadPtr::Record> record(new UniqueThreadPtr::Record(this, &STBThread::thread));
    pthread_helper::guard startStop(startStopMutex);
    pthread_helper::guard state(stateMutex);
    listener = newListener; // also of a second start, whose caller wants to be told
    if (isRunning()) {
        ZELO_LOG(LogFailure, LineAlreadyRunning, sourceFile, "Thread %p already running", static_cast<void*>(this));
        return;
    }
    // First: a body that looks at once must find it set.
    running.store(true, std::memory_order_release);
    record->start();
    if (!name.empty()) {
        record->setName(name.c_str());
    }
    owner.reset(record.release());
}

void STBThread::stop()
{
    if (!endThread()) {
        ZELO_LOG(LogFailure, LineAlreadyStopped, sourceFile, "Thread %p already stopped", static_cast<void*>(this));
    }
}

bool STBThread::endThread()
{
    pthread_helper::guard startStop(startStopMutex);
    pthread_helper::guard state(stateMutex);
    sleepCond.broadcast();
    if (!isRunning()) {
        return false;
    }
    running.store(false, std::memory_order_release);
    if (owner) {
        // The body may need the state lock to come out of its sleep; the start-stop lock keeps a new start away.
        state.unlock();
        owner->join();
        owner.reset(nullptr);
    }
    return true;
}

void STBThread::thread()
{
    ThreadRegistry::Entry entry(ownThreads);
    entry.enter();
    run();
    // Copied, because a listener that is called under the lock could not ask this thread for anything.
    OnThreadCompletedListener* completed;
    {
        pthread_helper::guard state(stateMutex);
        completed = listener;
    }
    if (completed != nullptr) {
        completed->onThreadCompleted(this);
    }
}

void STBThread::notify()
{
    sleepCond.broadcast();
}

bool STBThread::isOwnThread()
{
    return ownThreads.ofThisThread() != nullptr;
}

void STBThread::threadSleepMs(unsigned ms)
{
    pthread_helper::guard state(stateMutex);
    if (isRunning()) {
        waitUpTo(sleepCond, stateMutex, ms);
    }
}

int STBThread::setPriority(Priority const& priority)
{
    int niceValue = 0; // of this thread alone: Linux keeps one for each
    if (priority == PriorityLow) {
        niceValue = 15;
    } else if (priority == PriorityHigh) {
        niceValue = -5;
    }
    return setpriority(PRIO_PROCESS, static_cast<id_t>(syscall(SYS_gettid)), niceValue);
}
