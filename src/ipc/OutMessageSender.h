/// @file
/// The writing half of one connection.
#ifndef ZELO_IPC_OUTMESSAGESENDER_H
#define ZELO_IPC_OUTMESSAGESENDER_H

#include <stdint.h>

#include <atomic>
#include <deque>
#include <memory>

#include "src/ipc/IPCMessengerClient.h"

/// Writes queued messages to a socket, one whole frame each, in the order in which they were queued.
///
/// A write that fails ends the thread and nothing else: what is still queued is destroyed unsent with the sender, what
/// comes later at once, and the receive loop notices a dead connection from its side. The socket belongs to the client,
/// which ends the sender before it closes it. The sender may shut it down, because it is open as long as the thread
/// runs and as long as the client holds the sender.
class IPCMessengerClient::OutMessageSender : public STBThread {
public:
    /// @param fd  connected, with a send time-out
    explicit OutMessageSender(int fd);
    ~OutMessageSender() override;

    void run() override;

    /// Queues a message, or destroys it if the thread has failed. Any thread, one at a time, while the client holds the
    /// sender.
    ///
    /// A full queue has a peer that does not read: the connection is shut down, so that the peer sees an end and never
    /// a gap.
    void push(std::unique_ptr<IPCMessage> message) EXCLUDES(queueMutex);

    /// Lets the thread write what is queued, as long as the peer takes it and for a fifth of a second, and then ends
    /// it. Nobody pushes meanwhile.
    void finish() EXCLUDES(queueMutex);

    /// Stops the thread, which does not touch the socket any more. Does nothing on a sender that has no thread.
    void end() EXCLUDES(queueMutex);

    /// @return true once a push has found the queue full
    bool hasOverflowed() const { return overflowed; }

private:
    bool isWanted();
    bool isInTime();
    std::unique_ptr<IPCMessage> takeNext() EXCLUDES(queueMutex);
    bool send(IPCMessage& message);
    bool writeFully(char const* bytes, size_t size);
    void logWriteError() const;

    std::deque<std::unique_ptr<IPCMessage>> queue GUARDED_BY(queueMutex);
    pthread_helper::mutex queueMutex;
    pthread_helper::cond queueCond;
    int const socketFd;
    std::atomic<bool> connected{true};
    std::atomic<bool> ending{false};    // written under queueMutex, so that no wait begins after the signal
    std::atomic<bool> finishing{false}; // likewise
    std::atomic<bool> overflowed{false};
    int64_t finishByMs = 0;     // written before finishing; then owned by the thread
    bool hasSeenFinish = false; // owned by the thread
};

#endif
