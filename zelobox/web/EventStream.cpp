#include "zelobox/web/EventStream.h"

#include <utility>

namespace zelobox {

void EventStream::push(std::string const& text)
{
    std::lock_guard<std::mutex> const lock(mutex);
    unread += text;
    closed = closed || unread.size() > limit;
    changed.notify_one();
}

void EventStream::close()
{
    std::lock_guard<std::mutex> const lock(mutex);
    closed = true;
    changed.notify_one();
}

bool EventStream::isClosed() const
{
    std::lock_guard<std::mutex> const lock(mutex);
    return closed;
}

std::optional<std::string> EventStream::take(Milliseconds patience)
{
    std::unique_lock<std::mutex> lock(mutex);
    changed.wait_for(lock, patience, [this] { return closed || !unread.empty(); });
    if (closed) {
        return std::nullopt;
    }
    return std::exchange(unread, std::string());
}

} // namespace zelobox
