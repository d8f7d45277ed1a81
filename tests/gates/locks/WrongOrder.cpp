// error: mutex 'first' must be acquired before 'second'
#include "inc/private/pthread_helper.h"

namespace {

pthread_helper::mutex first;
pthread_helper::mutex second ACQUIRED_AFTER(first);

} // namespace

void lockBoth()
{
    pthread_helper::guard outer(second);
    pthread_helper::guard inner(first);
}
