/// @file
/// One client of the proxy and the connection to the middleware that was made for it.
#ifndef ZELO_ZELOBOX_PROXYLINK_H
#define ZELO_ZELOBOX_PROXYLINK_H

#include <functional>

#include "zelobox/base/Descriptor.h"
#include "zelobox/base/EventLoop.h"
#include "zelobox/capture/StreamDecoder.h"

namespace zelobox {

using OnRecord = std::function<void(TraceRecord const&)>;

/// Passes on what it reads, at once and as it is, and only then looks at it.
///
/// Of each direction it keeps one read's worth: while the receiver does not take that, the sender is not read, and
/// stops like one that is connected directly. The end of a stream is passed on like its bytes; when a side has closed,
/// the other one is closed too.
class ProxyLink {
public:
    /// @param onEnd  called as the last thing: it may destroy the link
    ProxyLink(EventLoop& eventLoop, unsigned connectionNumber, Descriptor clientSocket, Descriptor middlewareSocket,
              OnRecord recordTaker, std::function<void()> onEnd);
    ~ProxyLink();
    ProxyLink(ProxyLink const&) = delete;
    ProxyLink& operator=(ProxyLink const&) = delete;

    /// Tells what is still to be told, and ends.
    void end(std::string const& reason);

private:
    struct Way {
        Way(int source, int target, Direction where, char const* name)
            : from(source), to(target), direction(where), sender(name)
        {
        }

        int const from;
        int const to;
        Direction const direction;
        char const* const sender;
        std::vector<char> unsent; // while there is any, nothing is read
        StreamDecoder decoder;
        bool over = false; // nothing will come any more, or nobody takes it
    };

    Way& opposite(Way& way) { return &way == &toMiddleware ? toHost : toMiddleware; }
    void startReading(Way& way);
    void receive(Way& way);
    void takeEnd(Way& way, std::string const& error);
    void flush(Way& way);
    void breakOff(Way& way);
    void endWhenOver();
    void tell(Way& way, int64_t time, bool atEnd);

    EventLoop& loop;
    unsigned const number;
    Descriptor const client;
    Descriptor const middleware;
    Way toMiddleware;
    Way toHost;
    std::string lastToEnd;
    OnRecord onRecord;
    std::function<void()> ended;
};

} // namespace zelobox

#endif
