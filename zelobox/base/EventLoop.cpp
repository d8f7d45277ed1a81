#include "zelobox/base/EventLoop.h"

#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <system_error>
#include <vector>

namespace zelobox {

void EventLoop::watch(int fd, Callback onReadable)
{
    watches[fd] = {++lastSerial, std::move(onReadable), nullptr};
}

void EventLoop::watchReadable(int fd, Callback onReadable)
{
    watches.at(fd).onReadable = std::move(onReadable);
}

void EventLoop::watchWritable(int fd, Callback onWritable)
{
    watches.at(fd).onWritable = std::move(onWritable);
}

void EventLoop::forget(int fd)
{
    watches.erase(fd);
}

bool EventLoop::turn(Clock::time_point deadline)
{
    std::vector<pollfd> entries;
    std::vector<uint64_t> serials;
    for (auto const& [fd, watch] : watches) {
        int const events = (watch.onReadable ? POLLIN : 0) | (watch.onWritable ? POLLOUT : 0);
        // poll() reports an end (POLLHUP) even where no event is asked for. A descriptor that nobody reads or writes now
        // is left out by a negative number; otherwise the loop would spin until somebody does.
        entries.push_back({events != 0 ? fd : -1, static_cast<short>(events), 0});
        serials.push_back(watch.serial);
    }
    int64_t const left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
    int const ready = poll(entries.data(), entries.size(), static_cast<int>(std::clamp<int64_t>(left, 0, INT_MAX)));
    if (ready < 0 && errno != EINTR) {
        throw std::system_error(errno, std::generic_category(), "poll");
    }
    for (size_t i = 0; ready > 0 && i < entries.size(); ++i) {
        if (entries[i].revents != 0) {
            handle(entries[i].fd, serials[i], entries[i].revents);
        }
    }
    return ready > 0;
}

void EventLoop::handle(int fd, uint64_t serial, short events)
{
    auto const find = [&]() -> Watch const* {
        auto const found = watches.find(fd);
        return found != watches.end() && found->second.serial == serial ? &found->second : nullptr;
    };
    Watch const* watch = find();
    // An end or an error is the reader's to see; where nobody reads, the writer is called, whose next write fails.
    if (watch != nullptr && watch->onWritable && (!watch->onReadable || (events & POLLOUT) != 0)) {
        Callback const callback = watch->onWritable; // a copy: it may forget itself
        callback();
        watch = find();
    }
    if (watch != nullptr && watch->onReadable && (events & ~POLLOUT) != 0) {
        Callback const callback = watch->onReadable;
        callback();
    }
}

} // namespace zelobox
