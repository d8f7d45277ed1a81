/// @file
/// The queue of events for one open page.
#ifndef ZELO_ZELOBOX_EVENTSTREAM_H
#define ZELO_ZELOBOX_EVENTSTREAM_H

#include <condition_variable>
#include <mutex>
#include <optional>
#include <string>

#include "zelobox/base/Milliseconds.h"

namespace zelobox {

/// Text on its way from the loop's thread to the thread that writes to one page. Synchronised.
class EventStream {
public:
    /// Closes the stream when the page has left more than this unread. It comes back, and is told from there on.
    static constexpr size_t limit = 8 << 20;

    void push(std::string const& text);
    void close();
    bool isClosed() const;

    /// Waits for text.
    ///
    /// @return all that there is, empty when none came in time; nothing once the stream is closed
    std::optional<std::string> take(Milliseconds patience);

private:
    mutable std::mutex mutex;
    std::condition_variable changed;
    std::string unread;  // guarded by mutex
    bool closed = false; // guarded by mutex
};

} // namespace zelobox

#endif
