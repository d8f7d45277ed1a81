/// @file
/// The link with the middleware.
///
///     thread    started by        owns                                     may block in
///     host      the host          nothing here                             short locks; a stop, for the sender's end
///     ipc_cln   the manager       the socket, the back-off, the message    back-off, connect, recv, the handlers
///                                 being received
///     ipc_snd   each connection   the message being written                queue wait, write
///
/// Locks, in order: handlersMutex, senderMutex, the sender's queue lock. connectionMutex is never held together with
/// another. handlersMutex is held across every call of a handler; so a handler may push messages and replace the
/// allowed set, but must not add or remove handlers. A stop holds senderMutex, so that nothing more is queued, while
/// the sender's thread writes what is queued already: for a quarter of a second at most. No lock is held by a thread
/// that is itself in connect, recv, write or serialize().
///
/// After a drop the first attempt to reconnect is made at once. A middleware that accepts and drops again and again
/// would make a storm of that, with two new threads a time; so after a series of connections that brought no frame and
/// did not last, each further attempt waits one slice of the back-off.
#ifndef ZELO_IPC_IPCMESSENGERCLIENT_H
#define ZELO_IPC_IPCMESSENGERCLIENT_H

#include <atomic>
#include <memory>
#include <set>
#include <vector>

#include "inc/private/pthread_helper.h"
#include "inc/private/thread_annotations.h"
#include "src/common/AutoRetrier.h"
#include "src/common/STBThread.h"
#include "src/ipc/IPCFrame.h"
#include "src/ipc/IPCMessage.h"

/// Connects to the middleware, again and again, hands received messages to the handlers and sends what is pushed.
///
/// The owner adds its handlers, starts the thread, and stops it before it removes them.
class IPCMessengerClient : public STBThread {
public:
    /// Receives the events of the connection, on the client's thread.
    class IPCMessengerHandler {
    public:
        /// @param message  valid during the call
        virtual void onNewMessageReceived(IPCMessage const* message) = 0;
        /// Messages can be pushed from now on.
        virtual void onConnected() = 0;
        /// The connection was lost; messages are dropped until the next onConnected().
        virtual void onDisconnected() = 0;

    protected:
        ~IPCMessengerHandler() = default;
    };

    IPCMessengerClient();
    ~IPCMessengerClient() override;

    /// @param handler  not owned
    void addHandler(IPCMessengerHandler* handler) EXCLUDES(handlersMutex);
    void removeHandler(IPCMessengerHandler* handler) EXCLUDES(handlersMutex);

    /// Ends the connection and the thread, at once but for two waits: for what was pushed before, as long as the peer
    /// takes it and for a fifth of a second, and for a handler that is just running. No handler is told.
    void stop() EXCLUDES(senderMutex, connectionMutex);
    void stopThread() EXCLUDES(senderMutex, connectionMutex) { stop(); }

    /// Keeps the types that this side wants to receive; they open every later connection. An empty set opens none.
    void setAllowedMessages(std::set<IPCMessageType> const& types) EXCLUDES(senderMutex);

    /// Queues a message for the current connection, or destroys it if there is none. Any thread; does not block on the
    /// socket.
    void pushMessage(std::auto_ptr<IPCMessage> message) EXCLUDES(senderMutex);

    /// To be called before the start.
    void clearStopRequest() { stopRequested = false; }

    void run() override;

private:
    class FrameReceiver;
    class OutMessageSender;

    enum class Reception {
        Frame,
        StoppedBetweenFrames, ///< by stop(); nobody is told, and the destructor closes the socket
        StoppedInFrame,       ///< by stop(); nobody is told
        PeerClosed,
        ReadError,
        OutOfSync,
    };

    using Event = void (IPCMessengerHandler::*)();

    bool goesOn() const { return isRunning() && !ending; }

    void connectAndServe();
    void pauseBeforeReconnect();

    int openConnection() EXCLUDES(connectionMutex);
    int openSocket() EXCLUDES(connectionMutex);
    bool connectSocket(int fd);
    void shutDownSocket() EXCLUDES(connectionMutex);
    void closeSocket() EXCLUDES(connectionMutex);

    void serveConnection(int fd) EXCLUDES(handlersMutex, senderMutex, connectionMutex);
    void startSender(int fd) EXCLUDES(senderMutex);
    Reception receiveFrames(int fd) EXCLUDES(handlersMutex, senderMutex);
    void dispatch(IPCFrameHeader const& header, std::vector<char>&& payload) EXCLUDES(handlersMutex);
    void tellHandlers(Event event) EXCLUDES(handlersMutex);
    void logEnd(Reception reception) EXCLUDES(senderMutex);
    bool hasQueueOverflowed() EXCLUDES(senderMutex);
    std::unique_ptr<OutMessageSender> disconnect() EXCLUDES(senderMutex, connectionMutex);

    std::set<IPCMessengerHandler*> handlers GUARDED_BY(handlersMutex);
    pthread_helper::mutex handlersMutex;
    int socketFd GUARDED_BY(connectionMutex) = 0; // 0 is none
    AutoRetrier retrier;                          // owned by ipc_cln
    pthread_helper::mutex connectionMutex;
    std::unique_ptr<OutMessageSender> sender GUARDED_BY(senderMutex);
    pthread_helper::mutex senderMutex ACQUIRED_AFTER(handlersMutex);
    std::set<IPCMessageType> allowedMessages GUARDED_BY(senderMutex);
    std::atomic<bool> stopRequested{false};
    std::atomic<bool> ending{false};   // written by stop()
    unsigned fruitlessConnections = 0; // in a row, without a frame and short; owned by ipc_cln
};

#endif
