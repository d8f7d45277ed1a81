/// @file
/// From any thread into the event loop's.
#ifndef ZELO_SIMULATOR_LOOPCALLS_H
#define ZELO_SIMULATOR_LOOPCALLS_H

#include <deque>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <stdexcept>

#include "simulator/EventLoop.h"
#include "simulator/Peer.h"

namespace zelobox {

/// Functions that other threads want carried out on the loop's thread, in the order in which they came.
///
/// Made, closed and destroyed on the loop's thread.
class LoopCalls {
public:
    /// No more calls are taken: the loop ends.
    class Closed : public std::runtime_error {
    public:
        Closed() : std::runtime_error("the middleware is ending") {}
    };

    /// @param eventLoop  must live longer
    explicit LoopCalls(EventLoop& eventLoop);
    ~LoopCalls();
    LoopCalls(LoopCalls const&) = delete;
    LoopCalls& operator=(LoopCalls const&) = delete;

    /// Has @p work done in a later turn of the loop.
    ///
    /// @throw Closed
    /// @par Threads
    /// Any.
    void post(std::function<void()> work);

    /// Waits for what @p work gives or throws.
    ///
    /// @throw Closed also when close() comes before the turn of @p work
    /// @par Threads
    /// Any but the loop's.
    template <typename Work> auto call(Work work) -> decltype(work())
    {
        auto task = std::make_shared<std::packaged_task<decltype(work())()>>(std::move(work));
        std::future<decltype(work())> result = task->get_future();
        post([task = std::move(task)] { (*task)(); }); // the only owner: a task that goes without its turn breaks off
        try {
            return result.get();
        } catch (std::future_error const&) {
            throw Closed();
        }
    }

    /// Refuses what has not had its turn, and what still comes.
    void close();

private:
    void carryOut();

    EventLoop& loop;
    Descriptor const wakeUp;
    std::mutex mutex;
    std::deque<std::function<void()>> waiting; // guarded by mutex
    bool closed = false;                       // guarded by mutex
};

} // namespace zelobox

#endif
