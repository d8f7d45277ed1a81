// error: reading variable 'cobaltManager' requires holding mutex 'cobaltManagerMutex'
#include "cobalt/LifeCycle.h"

bool isStarted()
{
    return cobaltManager != nullptr;
}
