// compiles
#include "cobalt/LifeCycle.h"

namespace {

pthread_helper::mutex first;
pthread_helper::mutex second ACQUIRED_AFTER(first);
int number GUARDED_BY(second);

} // namespace

int readUnderTheLocks()
{
    pthread_helper::guard outer(first);
    pthread_helper::guard inner(second);
    return number;
}

bool isStarted()
{
    pthread_helper::guard lock(cobaltManagerMutex);
    return cobaltManager != nullptr;
}
