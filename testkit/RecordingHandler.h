/// @file
/// A receiver of the client's events that a test can wait on.
#ifndef ZELO_TESTKIT_RECORDINGHANDLER_H
#define ZELO_TESTKIT_RECORDINGHANDLER_H

#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "src/ipc/IPCMessengerClient.h"
#include "zelobox/protocol/Peer.h"

namespace testlink {

using zelobox::Milliseconds;

/// Remembers every event in order: "connected", "disconnected", and "message" with its type.
class RecordingHandler final : public IPCMessengerClient::IPCMessengerHandler {
public:
    /// What to do inside the events, on the client's thread; to be set before the client starts.
    std::function<void()> whenConnected;
    std::function<void()> whenDisconnected;
    std::function<void(IPCMessage const*)> whenReceived;

    void onConnected() override;
    void onDisconnected() override;
    void onNewMessageReceived(IPCMessage const* message) override;

    std::vector<std::string> events() const;
    /// Kind, type and payload of what was received.
    std::vector<zelobox::Frame> frames() const;
    /// @return false after the deadline
    bool waitFor(std::string const& event, size_t count = 1, Milliseconds deadline = Milliseconds(10000));

private:
    void record(std::string const& event);

    mutable std::mutex mutex;
    std::vector<std::string> recorded;
    std::vector<zelobox::Frame> received;
};

/// A client with one handler, in the order of an owner: the handler is there before the start and after the stop.
class Link {
public:
    /// The log begins anew.
    Link();
    ~Link();

    void start();
    /// Starts and waits until the handlers know.
    ///
    /// @return the middleware's end
    zelobox::Connection startAndAccept(zelobox::Listener& listener);
    void stop() { client.stop(); }
    void push(IPCMessage* message) { client.pushMessage(std::auto_ptr<IPCMessage>(message)); }

    RecordingHandler handler;
    IPCMessengerClient client;
};

} // namespace testlink

#endif
