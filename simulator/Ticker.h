/// @file
/// Something that is to happen again and again.
#ifndef ZELO_SIMULATOR_TICKER_H
#define ZELO_SIMULATOR_TICKER_H

#include "simulator/EventLoop.h"
#include "simulator/Peer.h"

namespace zelobox {

/// Calls back in turns of the loop, as often as it is told to.
class Ticker {
public:
    explicit Ticker(EventLoop& eventLoop) : loop(eventLoop) {}
    ~Ticker() { stop(); }
    Ticker(Ticker const&) = delete;
    Ticker& operator=(Ticker const&) = delete;

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
