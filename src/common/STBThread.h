/// @file
/// The base of every thread of the library.
#ifndef ZELO_COMMON_STBTHREAD_H
#define ZELO_COMMON_STBTHREAD_H

#include <stdint.h>

#include <atomic>
#include <string>

#include "inc/private/pthread_helper.h"
#include "inc/private/thread_annotations.h"

/// Starts and stops one thread for a body that a subclass supplies.
///
/// The start-stop lock is taken before the state lock. A stop waits for the body, so it must not come from the body. A
/// subclass whose body uses its members stops the thread in its own destructor: here they are gone already.
///
/// Start, stop, notification and isRunning() may be called from any thread but the own one; the rest from the body.
class STBThread {
public:
    /// Told when a body has returned.
    class OnThreadCompletedListener {
    public:
        /// Called on the thread that is about to end, with no lock held. It must not stop @p thread.
        virtual void onThreadCompleted(STBThread* thread) = 0;

    protected:
        ~OnThreadCompletedListener() = default;
    };

    enum Priority : int32_t {
        PriorityLow = 0,    ///< nice value 15
        PriorityNormal = 1, ///< nice value 0, as for every value that has no name
        PriorityHigh = 2,   ///< nice value -5
    };

    STBThread() = default;
    /// Stops the thread if it runs.
    virtual ~STBThread();
    /// The body. After it has returned the object stays "running" until stop().
    virtual void run() = 0;

    STBThread(STBThread const&) = delete;
    STBThread& operator=(STBThread const&) = delete;

    /// Starts the thread; logs if it is running already. A stopped object can be started again.
    ///
    /// @param newListener  may be null; not owned; taken also when the thread is running already
    /// @throw std::bad_alloc; the object is then as it was
    void start(OnThreadCompletedListener* newListener);
    void startThread(OnThreadCompletedListener* newListener) { start(newListener); }

    /// Wakes the body, tells it to end and waits for it; logs if there is nothing to stop.
    void stop();
    void stopThread() { stop(); }

    /// Wakes a sleeping body.
    void notify();

    /// @return true between start() and stop()
    bool isRunning() const { return running.load(std::memory_order_acquire); }

    /// @return true on every thread that was started here, whichever object it belongs to
    static bool isOwnThread();

    /// Sleeps in the body until stop(), notify(), a spurious wake-up or the end of the time, whichever is first.
    ///
    /// @param ms  milliseconds; measured on the real-time clock
    void threadSleepMs(unsigned ms);
    void sleepMs(unsigned ms) { threadSleepMs(ms); }

    /// Sets the nice value of the calling thread.
    ///
    /// @return what setpriority() returned
    int setPriority(Priority const& priority);

protected:
    /// @param newName  at most 15 characters; to be called before the start
    void setName(std::string const& newName) { std::string(newName).swap(name); }

private:
    /// A minimal exclusive owner of a thread record.
    class UniqueThreadPtr {
    public:
        using Record = pthread_helper::thread<STBThread>;

        UniqueThreadPtr() = default;
        ~UniqueThreadPtr() { reset(nullptr); }
        UniqueThreadPtr(UniqueThreadPtr const&) = delete;
        UniqueThreadPtr& operator=(UniqueThreadPtr const&) = delete;

        void reset(Record* next)
        {
            delete record;
            record = next;
        }
        Record* operator->() const { return record; }
        explicit operator bool() const { return record != nullptr; }

    private:
        Record* record = nullptr;
    };

    /// What the new thread runs: the body, then the listener.
    void thread();

    /// @return false if the thread was not running
    bool endThread();

    // The order decides the destruction: the locks go after what they guard.
    UniqueThreadPtr owner GUARDED_BY(startStopMutex);
    std::atomic<bool> running{false}; // written under stateMutex
    pthread_helper::mutex startStopMutex;
    OnThreadCompletedListener* listener GUARDED_BY(stateMutex) = nullptr;
    pthread_helper::mutex stateMutex ACQUIRED_AFTER(startStopMutex);
    pthread_helper::cond sleepCond;
    std::string name; // constant once started
};

#endif
