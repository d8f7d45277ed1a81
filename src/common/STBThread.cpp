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
    std::unique_ptr<UniqueThreadPtr::Record> record(new UniqueThreadPtr::Record(this, &STBThread::thread));
    pthread_helper::guard startStop(startStopMutex);
    pthread_helper::guard state(stateMutex);
    listener = newListener;
    if (isRunning()) {
        ZELO_LOG(LogFailure, LineAlreadyRunning, sourceFile, "Thread %p already running", static_cast<void*>(this));
        return;
    }
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
    int niceValue = 0;
    if (priority == PriorityLow) {
        niceValue = 15;
    } else if (priority == PriorityHigh) {
        niceValue = -5;
    }
    return setpriority(PRIO_PROCESS, static_cast<id_t>(syscall(SYS_gettid)), niceValue);
}
