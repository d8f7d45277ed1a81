/// @file
/// The writing half of one connection.
#ifndef ZELO_IPC_OUTMESSAGESENDER_H
#define ZELO_IPC_OUTMESSAGESENDER_H

#include <atomic>
#include <deque>
#include <memory>

#include "src/ipc/IPCMessengerClient.h"

/// Writes queued messages to a socket, one whole frame each, in the order in which they were queued.
///
/// A write that fails ends the thread; the receive loop notices, and what is still queued is destroyed unsent with the
/// sender. The socket belongs to the client, which ends the sender before it closes it.
class IPCMessengerClient::OutMessageSender : public STBThread {
public:
    /// @param fd  connected, with a send time-out
    explicit OutMessageSender(int fd);
    ~OutMessageSender() override;

    void run() override;

    /// Queues a message, or destroys it if the thread has failed. Any thread.
    void push(std::unique_ptr<IPCMessage> message) EXCLUDES(queueMutex);

    /// Stops the thread, which does not touch the socket any more. Does nothing on a sender that has no thread.
    void end() EXCLUDES(queueMutex);

    /// @return false once a write has failed
    bool isConnected() const { return connected; }

private:
    bool isWanted() const { return isRunning() && !ending; }
    std::unique_ptr<IPCMessage> takeNext() EXCLUDES(queueMutex);
    bool send(IPCMessage& message);
    bool writeFully(char const* bytes, size_t size);

    std::deque<std::unique_ptr<IPCMessage>> queue GUARDED_BY(queueMutex);
    pthread_helper::mutex queueMutex;
    pthread_helper::cond queueCond;
    int const socketFd;
    std::atomic<bool> connected{true};
    std::atomic<bool> ending{false}; // written under queueMutex, so that no wait begins after the signal
};

#endif
