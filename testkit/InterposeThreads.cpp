// Threads: not for a program whose sanitizer is a part of it, because their beginnings would be hidden from that.
#include "testkit/Interpose.h"

namespace interpose {

Call<int(pthread_t*, pthread_attr_t const*, void* (*)(void*), void*)> pthread_create("pthread_create");
Call<int(pthread_t, void**)> pthread_join("pthread_join");
Call<int(pthread_cond_t*, pthread_mutex_t*, timespec const*)> pthread_cond_timedwait("pthread_cond_timedwait");

static bool const areLookedUp = lookUp(pthread_create, pthread_join, pthread_cond_timedwait);

} // namespace interpose

extern "C" {

int pthread_create(pthread_t* thread, pthread_attr_t const* attributes, void* (*body)(void*), void* argument) noexcept
{
    return interpose::pthread_create(thread, attributes, body, argument);
}

ZELO_FORWARD(int, pthread_join, (pthread_t thread, void** result), (thread, result))
ZELO_FORWARD(int, pthread_cond_timedwait,
             (pthread_cond_t * condition, pthread_mutex_t* mutex, timespec const* deadline),
             (condition, mutex, deadline))
} // extern "C"
