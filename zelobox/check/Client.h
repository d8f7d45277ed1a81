/// @file
/// A client of the messenger that judges what it is told.
#ifndef ZELO_SIMULATOR_CHECK_CLIENT_H
#define ZELO_SIMULATOR_CHECK_CLIENT_H

#include <optional>
#include <set>
#include <string>
#include <vector>

#include "zelobox/protocol/FrameReader.h"
#include "zelobox/protocol/Peer.h"

namespace zelobox {

/// @return every type that a middleware sends
std::set<IPCMessageType> typesToHost();

class CheckClient {
public:
    /// @param timeout  for every answer
    /// @throw PeerError when nobody listens
    CheckClient(std::string const& socketPath, Milliseconds timeout);

    void send(Frame const& frame) { connection.send(frame, limit); }
    void sendBytes(std::vector<char> const& bytes) { connection.sendBytes(bytes, limit); }
    /// Sends byte by byte, each, as far as that can be seen, after the one before has been taken.
    void sendSingly(std::vector<char> const& bytes);
    /// Waits until the other side has taken all that was sent, or does not want it.
    void waitUntilTaken(Milliseconds longest) const;
    void subscribe(std::set<IPCMessageType> const& types);
    void request() { send({IPC_PAYLOAD_RAW, IPC_CONFIG_REQUEST, {}}); }

    /// Requests the configuration.
    ///
    /// @throw PeerTimeout, PeerClosed, PeerError when something else comes of it
    Frame configuration();
    /// @return the configuration that comes next; what comes before it is kept in seen()
    Frame awaitConfiguration();

    /// @return the next frame; nothing if none comes in time
    /// @throw PeerClosed, PeerError
    std::optional<Frame> next(Milliseconds duration);
    /// @return how many bytes wait for the rest of their frame
    size_t pending() const { return reader.pending(); }
    std::vector<Frame> const& seen() const { return frames; }

private:
    Connection connection;
    Milliseconds limit;
    FrameReader reader;
    std::vector<Frame> frames;
};

} // namespace zelobox

#endif
