#include "zelobox/web/LoopExecutor.h"

#include <sys/eventfd.h>

#include <cerrno>
#include <system_error>

namespace zelobox {

LoopExecutor::LoopExecutor(EventLoop& eventLoop) : loop(eventLoop), wakeUp(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
{
    if (!wakeUp) {
        throw std::system_error(errno, std::generic_category(), "eventfd");
    }
    loop.watch(wakeUp.get(), [this] { carryOut(); });
}

LoopExecutor::~LoopExecutor()
{
    close();
    loop.forget(wakeUp.get());
}

void LoopExecutor::post(std::function<void()> work)
{
    {
        std::lock_guard<std::mutex> const lock(mutex);
        if (closed) {
            throw Closed();
        }
        waiting.push_back(std::move(work));
    }
    eventfd_write(wakeUp.get(), 1);
}

void LoopExecutor::close()
{
    std::deque<std::function<void()>> refused; // destroyed without the lock
    std::lock_guard<std::mutex> const lock(mutex);
    closed = true;
    refused.swap(waiting);
}

void LoopExecutor::carryOut()
{
    eventfd_t count = 0;
    eventfd_read(wakeUp.get(), &count);
    std::deque<std::function<void()>> work;
    {
        std::lock_guard<std::mutex> const lock(mutex);
        work.swap(waiting);
    }
    for (; !work.empty(); work.pop_front()) {
        work.front()();
    }
}

} // namespace zelobox
