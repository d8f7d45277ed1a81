// error: cannot call function 'stop' while mutex 'cobaltManagerMutex' is held
#include "cobalt/LifeCycle.h"

void lockAgain()
{
    pthread_helper::guard lock(cobaltManagerMutex);
    LifeCycleCall().stop();
}
