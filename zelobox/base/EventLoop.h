/// @file
/// The event loop: many descriptors, one thread.
#ifndef ZELO_ZELOBOX_EVENTLOOP_H
#define ZELO_ZELOBOX_EVENTLOOP_H

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>

namespace zelobox {

/// Calls back what has been registered for a descriptor when it is ready. Not synchronised.
///
/// A callback may register and forget any descriptor, its own too.
class EventLoop {
public:
    using Clock = std::chrono::steady_clock;
    using Callback = std::function<void()>;

    /// @param fd  not owned; must be forgotten before it is closed
    /// @param onReadable  called when bytes, an end or an error can be read
    void watch(int fd, Callback onReadable);
    /// @param onReadable  replaces that of @p fd, which is watched; empty to read no more for now
    void watchReadable(int fd, Callback onReadable);
    /// @param onWritable  called when @p fd, which is watched, takes bytes; empty to end that
    void watchWritable(int fd, Callback onWritable);
    void forget(int fd);

    /// Waits for the next events and handles them.
    ///
    /// @return false if nothing happened until @p deadline
    bool turn(Clock::time_point deadline);

    /// Takes turns until @p done.
    ///
    /// @return false if the deadline came first
    template <typename Predicate> bool run(Clock::time_point deadline, Predicate done)
    {
        while (!done()) {
            if (!turn(deadline) && Clock::now() >= deadline) {
                return done();
            }
        }
        return true;
    }

private:
    struct Watch {
        uint64_t serial; // tells a descriptor from a later one with the same number
        Callback onReadable;
        Callback onWritable;
    };

    void handle(int fd, uint64_t serial, short events);

    std::map<int, Watch> watches;
    uint64_t lastSerial = 0;
};

} // namespace zelobox

#endif
