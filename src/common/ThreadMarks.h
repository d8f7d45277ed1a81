/// @file
/// Which threads are inside something.
#ifndef ZELO_COMMON_THREADMARKS_H
#define ZELO_COMMON_THREADMARKS_H

#include <pthread.h>

#include "inc/private/pthread_helper.h"
#include "inc/private/thread_annotations.h"

/// The marks that threads have put up. No thread_local variable: its first use on a thread takes the dynamic loader's
/// lock, which an unload holds while it waits for the library's threads.
class ThreadMarks {
public:
    /// Marks a thread from putUp() to takeDown() or to its own end. Belongs to that thread.
    class Mark {
    public:
        explicit Mark(ThreadMarks& owningMarks) : marks(owningMarks) {}
        ~Mark() { takeDown(); }
        Mark(Mark const&) = delete;
        Mark& operator=(Mark const&) = delete;

        void putUp();
        void takeDown();

    private:
        friend class ThreadMarks;

        ThreadMarks& marks;
        bool isUp = false;
        pthread_t thread{};
        Mark* following = nullptr; // guarded by the marks' mutex
    };

    /// @return the latest mark of the calling thread, null if it has none
    Mark* ofThisThread() EXCLUDES(mutex);

    bool areEmpty() EXCLUDES(mutex);

private:
    pthread_helper::mutex mutex; // a leaf
    Mark* first GUARDED_BY(mutex) = nullptr;
};

#endif
