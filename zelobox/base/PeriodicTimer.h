/// @file
/// A timer that fires again and again.
#ifndef ZELO_ZELOBOX_PERIODICTIMER_H
#define ZELO_ZELOBOX_PERIODICTIMER_H

#include "zelobox/base/Descriptor.h"
#include "zelobox/base/EventLoop.h"
#include "zelobox/base/Milliseconds.h"

namespace zelobox {

/// Calls back in turns of the loop. Ticks that a busy loop has missed are one call.
class PeriodicTimer {
public:
    explicit PeriodicTimer(EventLoop& eventLoop) : loop(eventLoop) {}
    ~PeriodicTimer() { stop(); }
    PeriodicTimer(PeriodicTimer const&) = delete;
    PeriodicTimer& operator=(PeriodicTimer const&) = delete;

    /// @throw std::system_error
    void start(Milliseconds interval, EventLoop::Callback onTick);
    void stop();
    bool isRunning() const { return static_cast<bool>(timer); }

private:
    EventLoop& loop;
    Descriptor timer;
};

} // namespace zelobox

#endif
