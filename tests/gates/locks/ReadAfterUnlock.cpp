// error: reading variable 'cobaltManager' requires holding mutex 'cobaltManagerMutex'
#include "cobalt/LifeCycle.h"

bool isStarted()
{
    pthread_helper::guard lock(cobaltManagerMutex);
    lock.unlock();
    return cobaltManager != nullptr;
}
