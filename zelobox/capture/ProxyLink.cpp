#include "zelobox/capture/ProxyLink.h"

#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace zelobox {

namespace {

/// A side that has only ended its stream still reads.
bool hasHungUp(int fd)
{
    pollfd entry = {fd, 0, 0};
    return poll(&entry, 1, 0) > 0 && (entry.revents & (POLLHUP | POLLERR)) != 0;
}

} // namespace

ProxyLink::ProxyLink(EventLoop& eventLoop, unsigned connectionNumber, Descriptor clientSocket,
                     Descriptor middlewareSocket, OnRecord recordTaker, std::function<void()> onEnd)
    : loop(eventLoop), number(connectionNumber), client(std::move(clientSocket)),
      middleware(std::move(middlewareSocket)),
      toMiddleware(client.get(), middleware.get(), Direction::ToMiddleware, "client"),
      toHost(middleware.get(), client.get(), Direction::ToHost, "middleware"), onRecord(std::move(recordTaker)),
      ended(std::move(onEnd))
{
    for (Way* const way : {&toMiddleware, &toHost}) {
        loop.watch(way->from, nullptr);
        startReading(*way);
    }
}

ProxyLink::~ProxyLink()
{
    loop.forget(client.get());
    loop.forget(middleware.get());
}

void ProxyLink::startReading(Way& way)
{
    loop.watchReadable(way.from, [this, &way] { receive(way); });
}

void ProxyLink::receive(Way& way)
{
    char bytes[65536];
    ssize_t const count = recv(way.from, bytes, sizeof bytes, MSG_DONTWAIT);
    if (count < 0 && (errno == EAGAIN || errno == EINTR)) {
        return;
    }
    if (count <= 0) {
        takeEnd(way, count < 0 ? std::strerror(errno) : "");
        return;
    }
    int64_t const time = traceTime();
    way.unsent.assign(bytes, bytes + count);
    flush(way);
    way.decoder.append(bytes, static_cast<size_t>(count));
    tell(way, time, false);
    endWhenOver();
}

/// Everything that came before it has been passed on.
void ProxyLink::takeEnd(Way& way, std::string const& error)
{
    way.over = true;
    lastToEnd = way.sender;
    loop.watchReadable(way.from, nullptr);
    if (!error.empty() || hasHungUp(way.from)) {
        end("closed by the " + lastToEnd + (error.empty() ? "" : ": " + error));
        return;
    }
    shutdown(way.to, SHUT_WR);
    endWhenOver();
}

void ProxyLink::flush(Way& way)
{
    ssize_t const count = send(way.to, way.unsent.data(), way.unsent.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
    if (count < 0 && errno != EAGAIN && errno != EINTR) {
        breakOff(way);
        return;
    }
    way.unsent.erase(way.unsent.begin(), way.unsent.begin() + std::max<ssize_t>(count, 0));
    if (way.unsent.empty()) {
        loop.watchWritable(way.to, nullptr);
        startReading(way);
    } else {
        loop.watchReadable(way.from, nullptr);
        loop.watchWritable(way.to, [this, &way] {
            flush(way);
            endWhenOver();
        });
    }
}

/// The receiver takes nothing any more. What it has sent before is still on its way, and then comes its end.
void ProxyLink::breakOff(Way& way)
{
    way.over = true;
    way.unsent.clear();
    loop.watchWritable(way.to, nullptr);
    loop.watchReadable(way.from, nullptr);
    shutdown(way.from, SHUT_RD);
}

void ProxyLink::endWhenOver()
{
    if (toMiddleware.over && toHost.over) {
        end("closed by the " + lastToEnd);
    }
}

void ProxyLink::tell(Way& way, int64_t time, bool atEnd)
{
    while (std::optional<TraceRecord> record = way.decoder.next(atEnd)) {
        record->time = time;
        record->connection = number;
        record->direction = way.direction;
        onRecord(*record);
    }
}

void ProxyLink::end(std::string const& reason)
{
    TraceRecord record;
    record.time = traceTime();
    record.connection = number;
    record.event = TraceRecord::Event::Disconnected;
    record.reason = reason;
    tell(toMiddleware, record.time, true);
    tell(toHost, record.time, true);
    onRecord(record);
    auto const last = std::move(ended); // outlives the link
    last();
}

} // namespace zelobox
