// error: reading variable 'cobaltManager' requires holding mutex 'cobaltManagerMutex'
#include "cobalt/CobaltManager.h"

bool isStarted()
{
    pthread_helper::guard lock(cobaltManagerMutex);
    lock.unlock();
    return cobaltManager != nullptr;
}
