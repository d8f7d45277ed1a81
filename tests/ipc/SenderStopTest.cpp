// A stop that falls between the sender's look at its flags and its look at the queue. The program is linked with --wrap
// for the two functions at the end, which hold the sender there.
#include <pthread.h>
#include <string.h>

#include <atomic>

#include "testkit/Signal.h"
#include "testkit/Stopping.h"

using namespace testlink;
using interpose::Takeover;

namespace {

std::atomic<bool> armed{false}; ///< for the sender's next lock
probe::Signal beforeTheQueue;
probe::Signal told;

bool isSender()
{
    char name[16] = "";
    pthread_getname_np(pthread_self(), name, sizeof name);
    return strcmp(name, "ipc_snd") == 0;
}

} // namespace

TEST_F(Stopping, IsNotSleptThroughByASenderThatIsAboutToWait)
{
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

extern "C" {

int __real_pthread_mutex_lock(pthread_mutex_t* mutex);
int __real_pthread_cond_signal(pthread_cond_t* condition);

int __wrap_pthread_mutex_lock(pthread_mutex_t* mutex)
{
    if (armed && isSender() && armed.exchange(false)) {
        beforeTheQueue.give();
        told.wait();
    }
    return __real_pthread_mutex_lock(mutex);
}

int __wrap_pthread_cond_signal(pthread_cond_t* condition)
{
    int const result = __real_pthread_cond_signal(condition);
    if (!armed && beforeTheQueue.isGiven() && !isSender()) {
        told.give();
    }
    return result;
}

} // extern "C"
