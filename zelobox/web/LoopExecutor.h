/// @file
/// The way from any thread into the event loop's.
#ifndef ZELO_ZELOBOX_LOOPEXECUTOR_H
#define ZELO_ZELOBOX_LOOPEXECUTOR_H

#include <deque>
#include <exception>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <utility>

#include "zelobox/base/Descriptor.h"
#include "zelobox/base/EventLoop.h"

namespace zelobox {

/// Functions that other threads want carried out on the loop's thread, in the order in which they came.
///
/// Made, closed and destroyed on the loop's thread.
class LoopExecutor {
public:
    /// No more calls are taken: the loop ends.
    class Closed : public std::runtime_error {
    public:
        Closed() : std::runtime_error("the middleware is ending") {}
    };

    /// @param eventLoop  must live longer
    explicit LoopExecutor(EventLoop& eventLoop);
    ~LoopExecutor();
    LoopExecutor(LoopExecutor const&) = delete;
    LoopExecutor& operator=(LoopExecutor const&) = delete;

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
        std::optional<decltype(work())> result;
        std::exception_ptr problem;
        auto turn = std::make_shared<Turn>();
        std::future<bool> taken = turn->over.get_future();
        post([&result, &problem, work = std::move(work), turn = std::move(turn)] { // the only owner of the turn
            turn->taken = true;
            try {
                result = work();
            } catch (...) {
                problem = std::current_exception();
            }
        });
        if (!taken.get()) {
            throw Closed();
        }
        if (problem) {
            std::rethrow_exception(problem);
        }
        return std::move(*result);
    }

    /// Refuses what has not had its turn, and what still comes.
    void close();

private:
    /// Releases the caller when it is destroyed, had or not: by then the loop has let go of what was thrown, which
    /// belongs to the caller alone.
    struct Turn {
        ~Turn() { over.set_value(taken); }

        bool taken = false;
        std::promise<bool> over;
    };

    void carryOut();

    EventLoop& loop;
    Descriptor const wakeUp;
    std::mutex mutex;
    std::deque<std::function<void()>> waiting; // guarded by mutex
    bool closed = false;                       // guarded by mutex
};

} // namespace zelobox

#endif
