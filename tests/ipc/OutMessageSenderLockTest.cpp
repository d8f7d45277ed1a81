// A stop that falls between the sender's look at its flags and its look at the queue.
#include <pthread.h>
#include <string.h>

#include <atomic>

#include "testkit/Signal.h"
#include "testkit/Stopping.h"

using namespace testlink;
using interpose::Takeover;

namespace {

class StoppingSender : public Stopping {};

bool isSender()
{
    char name[16] = "";
    pthread_getname_np(pthread_self(), name, sizeof name);
    return strcmp(name, "ipc_snd") == 0;
}

} // namespace

TEST_F(StoppingSender, IsNotSleptThroughByASenderThatIsAboutToWait)
{
    std::atomic<bool> armed{false}; // for the sender's next lock
    probe::Signal beforeTheQueue;
    probe::Signal told;
    Takeover locking(interpose::pthread_mutex_lock, [&](pthread_mutex_t* mutex) {
        if (armed && isSender() && armed.exchange(false)) {
            beforeTheQueue.give();
            told.wait();
        }
        return interpose::pthread_mutex_lock.real(mutex);
    });
    Takeover signalling(
        interpose::pthread_cond_signal,
        [&](pthread_cond_t* condition) {
            int const result = interpose::pthread_cond_signal.real(condition);
            if (!armed && beforeTheQueue.isGiven() && !isSender()) {
                told.give();
            }
            return result;
        },
        interpose::Threads::All);
    std::atomic<unsigned> waits{0};
    probe::Signal firstWait;
    Takeover waiting(interpose::pthread_cond_timedwait,
                     [&](pthread_cond_t* condition, pthread_mutex_t* mutex, timespec const* deadline) {
                         if (isSender()) {
                             ++waits;
                             firstWait.give();
                         }
                         return interpose::pthread_cond_timedwait.real(condition, mutex, deadline);
                     });
    connect();
    firstWait.wait();
    armed = true;
    beforeTheQueue.wait();
    unsigned const before = waits;
    expectTimelyEnd(link);
    EXPECT_TRUE(told.isGiven());
    EXPECT_EQ(before, waits);
}
