/// @file
/// A client of the messenger that judges what it is told.
#ifndef ZELO_ZELOBOX_CHECKCLIENT_H
#define ZELO_ZELOBOX_CHECKCLIENT_H

#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "zelobox/capture/StreamDecoder.h"
#include "zelobox/check/RunLog.h"
#include "zelobox/protocol/FrameReader.h"
#include "zelobox/protocol/Peer.h"

namespace zelobox {

/// @return every type that a middleware sends
std::set<IPCMessageType> typesToHost();

class CheckClient {
public:
    /// @param timeout  for every answer
    /// @param runLog  must live longer
    /// @throw PeerError when nobody listens
    CheckClient(std::string const& socketPath, Milliseconds timeout, RunLog& runLog);
    ~CheckClient();
    CheckClient(CheckClient&& other) = default;

    void send(Frame const& frame) { sendBytes(bytesOf(frame)); }
    void sendBytes(std::vector<char> const& bytes);
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
    /// @return the configuration that comes next
    Frame awaitConfiguration();

    /// @return the next frame; nothing if none comes in time
    /// @throw PeerClosed, PeerError
    std::optional<Frame> next(Milliseconds duration);
    /// @return what waits for the rest of its frame, for people; empty when nothing does
    std::string unfinished() const;

private:
    void receiveMore();
    void noteSent(std::vector<char> const& bytes);
    void noteReceived(Frame const& frame);
    void noteEnd();

    Connection connection;
    Milliseconds limit;
    RunLog* log;
    unsigned number;
    std::set<uint16_t> subscribed;
    std::unique_ptr<StreamDecoder> sent; ///< for the log; null once this has been moved from
    FrameReader reader;
    size_t received = 0; ///< bytes in whole frames
};

} // namespace zelobox

#endif
