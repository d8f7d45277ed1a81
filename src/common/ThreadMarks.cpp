#include "src/common/ThreadMarks.h"

void ThreadMarks::Mark::putUp()
{
    thread = pthread_self();
    isUp = true;
    pthread_helper::guard lock(marks.mutex);
    following = marks.first;
    marks.first = this;
}

void ThreadMarks::Mark::takeDown()
{
    if (!isUp) {
        return;
    }
    isUp = false;
    pthread_helper::guard lock(marks.mutex);
    Mark** link = &marks.first;
    while (*link != this) {
        link = &(*link)->following;
    }
    *link = following;
}

ThreadMarks::Mark* ThreadMarks::ofThisThread()
{
    pthread_helper::guard lock(mutex);
    Mark* mark = first;
    while (mark != nullptr && pthread_equal(mark->thread, pthread_self()) == 0) {
        mark = mark->following;
    }
    return mark;
}

bool ThreadMarks::areEmpty()
{
    pthread_helper::guard lock(mutex);
    return first == nullptr;
}
