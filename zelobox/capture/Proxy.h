/// @file
/// A proxy between libraries and a middleware that records what they say.
#ifndef ZELO_ZELOBOX_PROXY_H
#define ZELO_ZELOBOX_PROXY_H

#include <map>
#include <memory>

#include "zelobox/capture/ProxyLink.h"
#include "zelobox/protocol/Peer.h"

namespace zelobox {

/// Connects every client that it accepts to the middleware; one for which there is none is closed.
///
/// Everything happens in turns of the loop, which must live longer.
class Proxy {
public:
    /// @param onRecord  is given all traffic, in order
    /// @throw PeerError when another server listens at @p listenPath or the socket cannot be made
    Proxy(EventLoop& eventLoop, std::string const& listenPath, std::string middlewarePath, OnRecord onRecord);
    /// Closes all connections.
    ~Proxy();
    Proxy(Proxy const&) = delete;
    Proxy& operator=(Proxy const&) = delete;

private:
    void accept();
    void tell(TraceRecord::Event event, std::string const& reason);

    EventLoop& loop;
    std::string const path; // of the middleware
    OnRecord record;
    Listener listener;
    std::map<unsigned, std::unique_ptr<ProxyLink>> links;
    unsigned lastNumber = 0;
};

} // namespace zelobox

#endif
