#include "zelobox/base/StopSignals.h"

#include <signal.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace zelobox {

StopSignals::StopSignals(EventLoop& eventLoop, EventLoop::Callback onStop) : loop(eventLoop)
{
    sigset_t set;
    sigemptyset(&set);
    for (int const number : {SIGINT, SIGTERM, SIGHUP}) {
        sigaddset(&set, number);
    }
    pthread_sigmask(SIG_BLOCK, &set, nullptr);
    signals.reset(signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK));
    if (!signals) {
        throw std::system_error(errno, std::generic_category(), "signalfd");
    }
    loop.watch(signals.get(), [this, callback = std::move(onStop)] {
        signalfd_siginfo info;
        if (read(signals.get(), &info, sizeof info) == sizeof info) {
            callback();
        }
    });
}

StopSignals::~StopSignals()
{
    loop.forget(signals.get());
}

} // namespace zelobox
