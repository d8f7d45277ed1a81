// error: reading variable 'cobaltManager' requires holding mutex 'cobaltManagerMutex'
#include "cobalt/CobaltManager.h"

bool isStarted()
{
    return cobaltManager != nullptr;
}
