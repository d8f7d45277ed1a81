#include "zelobox/base/PeriodicTimer.h"

#include <sys/timerfd.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace zelobox {

void PeriodicTimer::start(Milliseconds interval, EventLoop::Callback onTick)
{
    stop();
    timer.reset(timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK));
    timespec const time = {static_cast<time_t>(interval.count() / 1000),
                           static_cast<long>(interval.count() % 1000 * 1000000)};
    itimerspec const setting = {time, time};
    if (!timer || timerfd_settime(timer.get(), 0, &setting, nullptr) != 0) {
        throw std::system_error(errno, std::generic_category(), "timerfd");
    }
    loop.watch(timer.get(), [this, callback = std::move(onTick)] {
        uint64_t count = 0;
        if (read(timer.get(), &count, sizeof count) == sizeof count) {
            callback();
        }
    });
}

void PeriodicTimer::stop()
{
    if (timer) {
        loop.forget(timer.get());
        timer.reset();
    }
}

} // namespace zelobox
