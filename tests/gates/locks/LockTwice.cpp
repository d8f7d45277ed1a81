// error: cannot call function 'isInHostCallback' while mutex 'cobaltManagerMutex' is held
#include "cobalt/CobaltManager.h"

bool lockAgain()
{
    pthread_helper::guard lock(cobaltManagerMutex);
    return isInHostCallback();
}
