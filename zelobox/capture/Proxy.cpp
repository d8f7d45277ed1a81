#include "zelobox/capture/Proxy.h"

#include <sys/socket.h>

#include <cerrno>
#include <cstring>

namespace zelobox {

Proxy::Proxy(EventLoop& eventLoop, std::string const& listenPath, std::string middlewarePath, OnRecord onRecord)
    : loop(eventLoop), path(std::move(middlewarePath)), record(std::move(onRecord)), listener(listenPath)
{
    loop.watch(listener.descriptor(), [this] { accept(); });
}

Proxy::~Proxy()
{
    loop.forget(listener.descriptor());
    while (!links.empty()) {
        links.begin()->second->end("closed by the proxy");
    }
}

void Proxy::accept()
{
    Descriptor client(accept4(listener.descriptor(), nullptr, nullptr, SOCK_CLOEXEC));
    if (!client) {
        return; // it has gone again
    }
    unsigned const number = ++lastNumber;
    tell(TraceRecord::Event::Connected, "");
    Descriptor middleware = connectTo(path);
    if (!middleware) {
        tell(TraceRecord::Event::Disconnected,
             "no middleware listens on " + path + " (" + std::strerror(errno) + "), so the client is closed");
        return;
    }
    links[number] = std::make_unique<ProxyLink>(loop, number, std::move(client), std::move(middleware), record,
                                                [this, number] { links.erase(number); });
}

void Proxy::tell(TraceRecord::Event event, std::string const& reason)
{
    TraceRecord made;
    made.time = traceTime();
    made.connection = lastNumber;
    made.event = event;
    made.reason = reason;
    record(made);
}

} // namespace zelobox
