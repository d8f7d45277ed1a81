/// @file
/// Signals that end a program, as events of the loop.
#ifndef ZELO_ZELOBOX_STOPSIGNALS_H
#define ZELO_ZELOBOX_STOPSIGNALS_H

#include "zelobox/base/Descriptor.h"
#include "zelobox/base/EventLoop.h"

namespace zelobox {

/// Takes SIGINT, SIGTERM and SIGHUP from the process: they only call back in a turn of the loop.
///
/// Made before any thread, so that all of them inherit the blocked signals.
class StopSignals {
public:
    StopSignals(EventLoop& eventLoop, EventLoop::Callback onStop);
    ~StopSignals();
    StopSignals(StopSignals const&) = delete;
    StopSignals& operator=(StopSignals const&) = delete;

private:
    EventLoop& loop;
    Descriptor signals;
};

} // namespace zelobox

#endif
