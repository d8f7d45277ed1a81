// Locks and the unwinder: for the programs that ask about them, because everybody else calls them all the time.
#include "testkit/Interpose.h"

namespace interpose {

Call<int(pthread_mutexattr_t*)> pthread_mutexattr_init("pthread_mutexattr_init");
Call<int(pthread_mutexattr_t*, int)> pthread_mutexattr_settype("pthread_mutexattr_settype");
Call<int(pthread_mutex_t*, pthread_mutexattr_t const*)> pthread_mutex_init("pthread_mutex_init");
Call<int(pthread_mutex_t*)> pthread_mutex_destroy("pthread_mutex_destroy");
Call<int(pthread_mutex_t*)> pthread_mutex_lock("pthread_mutex_lock");
Call<int(pthread_mutex_t*)> pthread_mutex_unlock("pthread_mutex_unlock");
Call<int(pthread_cond_t*, pthread_condattr_t const*)> pthread_cond_init("pthread_cond_init");
Call<int(pthread_cond_t*)> pthread_cond_destroy("pthread_cond_destroy");
Call<int(pthread_cond_t*)> pthread_cond_signal("pthread_cond_signal");
Call<int(pthread_cond_t*)> pthread_cond_broadcast("pthread_cond_broadcast");
#if defined(__arm__)
Call<_Unwind_VRS_Result(_Unwind_Context*, _Unwind_VRS_RegClass, uint32_t, _Unwind_VRS_DataRepresentation, void*)>
    unwindGet("_Unwind_VRS_Get");
#else
Call<_Unwind_Ptr(_Unwind_Context*)> unwindGet("_Unwind_GetIP");
#endif

} // namespace interpose

extern "C" {

ZELO_FORWARD_NOEXCEPT(int, pthread_mutexattr_init, (pthread_mutexattr_t * attributes), (attributes))
ZELO_FORWARD_NOEXCEPT(int, pthread_mutexattr_settype, (pthread_mutexattr_t * attributes, int type), (attributes, type))
ZELO_FORWARD_NOEXCEPT(int, pthread_mutex_init, (pthread_mutex_t * mutex, pthread_mutexattr_t const* attributes),
                      (mutex, attributes))
ZELO_FORWARD_NOEXCEPT(int, pthread_mutex_destroy, (pthread_mutex_t * mutex), (mutex))
ZELO_FORWARD_NOEXCEPT(int, pthread_mutex_lock, (pthread_mutex_t * mutex), (mutex))
ZELO_FORWARD_NOEXCEPT(int, pthread_mutex_unlock, (pthread_mutex_t * mutex), (mutex))
ZELO_FORWARD_NOEXCEPT(int, pthread_cond_init, (pthread_cond_t * condition, pthread_condattr_t const* attributes),
                      (condition, attributes))
ZELO_FORWARD_NOEXCEPT(int, pthread_cond_destroy, (pthread_cond_t * condition), (condition))
ZELO_FORWARD_NOEXCEPT(int, pthread_cond_signal, (pthread_cond_t * condition), (condition))
ZELO_FORWARD_NOEXCEPT(int, pthread_cond_broadcast, (pthread_cond_t * condition), (condition))

#if defined(__arm__)
_Unwind_VRS_Result _Unwind_VRS_Get(_Unwind_Context* context, _Unwind_VRS_RegClass registers, uint32_t number,
                                   _Unwind_VRS_DataRepresentation representation, void* value)
{
    return interpose::unwindGet(context, registers, number, representation, value);
}
#else
_Unwind_Ptr _Unwind_GetIP(_Unwind_Context* context)
{
    return interpose::unwindGet(context);
}
#endif

} // extern "C"
