#include "src/ipc/IPCMessengerClient.h"

#include <errno.h>
#include <time.h>
#include <unistd.h>

#include <exception>
#include <new>

#include "src/ipc/FrameReceiver.h"
#include "src/ipc/MessengerLog.h"
#include "src/ipc/MessengerSocket.h"
#include "src/ipc/OutMessageSender.h"

namespace {

/// Slices of the back-off: how long a stop may have to wait for it.
unsigned const backOffSliceMs = 200;

/// So many connections in a row that brought nothing are no restart of the middleware any more.
unsigned const toleratedFruitlessConnections = 16;

} // namespace

IPCMessengerClient::IPCMessengerClient() : retrier("ipc_connection")
{
    setName("ipc_cln");
}

IPCMessengerClient::~IPCMessengerClient()
{
    if (isRunning()) {
        stop();
    }
    if (socketFd > 0) {
        ZELO_LOG(LogConnection, LineClosing, messengerSource, "Closing connection");
    }
    std::unique_ptr<OutMessageSender> const ended = disconnect();
    allowedMessages.clear();
}

void IPCMessengerClient::stop()
{
    {
        pthread_helper::guard lock(senderMutex);
        ending = true; // under the lock: no sender is made from here on, and none is ended before it has finished
        if (sender) {
            sender->finish();
        }
    }
    shutDownSocket();
    STBThread::stop();
    ending = false;
}

void IPCMessengerClient::addHandler(IPCMessengerHandler* handler)
{
    pthread_helper::guard lock(handlersMutex);
    handlers.insert(handler);
}

void IPCMessengerClient::removeHandler(IPCMessengerHandler* handler)
{
    pthread_helper::guard lock(handlersMutex);
    handlers.erase(handler);
}

void IPCMessengerClient::setAllowedMessages(std::set<IPCMessageType> const& types)
{
    std::set<IPCMessageType> copy(types);
    pthread_helper::guard lock(senderMutex);
    allowedMessages.swap(copy);
}

void IPCMessengerClient::pushMessage(std::auto_ptr<IPCMessage> message)
{
    std::unique_ptr<IPCMessage> owned(message.release());
    pthread_helper::guard lock(senderMutex);
    if (sender) {
        sender->push(std::move(owned));
    }
}

void IPCMessengerClient::run()
{
    disconnect(); // a stop between frames has left its connection to the destructor, but there is a new start
    while (goesOn() && !stopRequested) {
        if (retrier.isDue()) {
            connectAndServe();
        } else {
            usleep(backOffSliceMs * 1000);
        }
    }
}

void IPCMessengerClient::connectAndServe()
{
    int const fd = openConnection();
    if (fd <= 0) {
        return;
    }
    ++fruitlessConnections;
    serveConnection(fd);
    if (retrier.hasLasted(backOffSliceMs)) {
        fruitlessConnections = 0; // no part of a storm, however silent
    }
    if (fruitlessConnections >= toleratedFruitlessConnections) {
        pauseBeforeReconnect();
    }
}

void IPCMessengerClient::pauseBeforeReconnect()
{
    timespec left = {0, static_cast<long>(backOffSliceMs) * 1000000};
    while (goesOn() && nanosleep(&left, &left) != 0 && errno == EINTR) {
    }
}

/// @return the connected socket; 0 if there is none
int IPCMessengerClient::openConnection()
{
    int const fd = openSocket();
    if (fd != 0 && connectSocket(fd)) {
        return fd;
    }
    closeSocket();
    return 0;
}

/// @return the new socket; 0 if a stop came first, negative if there is none, which fails like a connect
int IPCMessengerClient::openSocket()
{
    pthread_helper::guard lock(connectionMutex);
    if (goesOn()) { // under the lock: a stop shuts down every socket that was made before it
        socketFd = openMessengerSocket();
    }
    return socketFd;
}

/// @return false after a failure, which is logged and counted, and after a stop
bool IPCMessengerClient::connectSocket(int fd)
{
    // A socket without time-outs could block a stop, so it counts as one that cannot connect.
    int error = setMessengerTimeouts(fd) ? EINTR : EINVAL;
    while (isInterruption(error) && goesOn()) {
        error = connectMessengerSocket(fd);
    }
    if (error == 0) {
        ZELO_LOG(LogNotable, LineConnected, messengerSource, "Connected to IPC server");
        retrier.succeeded();
    } else if (!isInterruption(error)) {
        ZELO_LOG(LogFailure, LineCannotConnect, messengerSource, "Can not connect to IPC Messagenger server");
        retrier.failed();
    }
    return error == 0;
}

void IPCMessengerClient::shutDownSocket()
{
    pthread_helper::guard lock(connectionMutex);
    if (socketFd > 0) {
        shutDownMessengerSocket(socketFd);
    }
}

void IPCMessengerClient::closeSocket()
{
    pthread_helper::guard lock(connectionMutex);
    if (socketFd > 0) {
        closeMessengerSocket(socketFd);
    }
    socketFd = 0;
}

void IPCMessengerClient::serveConnection(int fd)
{
    bool handlersKnow = false;
    Reception last = Reception::ReadError;
    try {
        startSender(fd);
        handlersKnow = true;
        tellHandlers(&IPCMessengerHandler::onConnected);
        last = receiveFrames(fd);
    } catch (std::bad_alloc const&) {
        // ends the connection like a failed read; the middleware repeats what matters on a new one
    }
    if (last == Reception::StoppedBetweenFrames) {
        return;
    }
    if (last != Reception::StoppedInFrame) {
        logEnd(last);
        if (handlersKnow) {
            tellHandlers(&IPCMessengerHandler::onDisconnected);
        }
    }
    disconnect();
}

/// Makes the sender of a new connection, which begins with the stored allowed set.
void IPCMessengerClient::startSender(int fd)
{
    pthread_helper::guard lock(senderMutex);
    if (ending) {
        return;
    }
    std::unique_ptr<OutMessageSender> next(new OutMessageSender(fd));
    next->start(nullptr);
    sender.swap(next);
    if (!allowedMessages.empty()) {
        sender->push(std::unique_ptr<IPCMessage>(new IPCMessageAllowedMessageList(allowedMessages)));
    }
}

/// @return why it ended, never Frame
IPCMessengerClient::Reception IPCMessengerClient::receiveFrames(int fd)
{
    FrameReceiver receiver(*this, fd);
    for (;;) {
        IPCFrameHeader header;
        std::vector<char> payload;
        Reception const reception = receiver.receive(header, payload);
        if (reception != Reception::Frame) {
            return reception;
        }
        fruitlessConnections = 0;
        dispatch(header, std::move(payload));
    }
}

/// Shows a message to the handlers. One that cannot be decoded or handled is dropped: its frame was whole.
///
/// @throw std::bad_alloc
void IPCMessengerClient::dispatch(IPCFrameHeader const& header, std::vector<char>&& payload)
{
    try {
        std::auto_ptr<IPCMessage> const message =
            makeReceivedMessage(header.kind, header.type, std::move(payload), &ending);
        pthread_helper::guard lock(handlersMutex);
        if (ending) {
            return; // the message may be incomplete
        }
        for (IPCMessengerHandler* const handler : handlers) {
            handler->onNewMessageReceived(message.get());
        }
    } catch (std::bad_alloc const&) {
        throw;
    } catch (std::exception const&) {
        if (!ending) {
            ZELO_LOG(LogBadData, LineDropped, messengerSource, "Message dropped: type %u length %u",
                     unsigned{header.type}, static_cast<unsigned>(header.length));
        }
    }
}

void IPCMessengerClient::tellHandlers(Event event)
{
    pthread_helper::guard lock(handlersMutex);
    for (IPCMessengerHandler* const handler : handlers) {
        (handler->*event)();
    }
}

void IPCMessengerClient::logEnd(Reception reception)
{
    if (hasQueueOverflowed()) {
        // Here and not where the queue was found full: a push may come from inside the host's logger.
        ZELO_LOG(LogFailure, LineQueueFull, messengerSource, "Out queue full. Terminate connection.");
    } else if (reception == Reception::PeerClosed) {
        ZELO_LOG(LogNotable, LinePeerClosed, messengerSource, "Connection closed");
    } else if (reception == Reception::OutOfSync) {
        ZELO_LOG(LogFailure, LineOutOfSync, messengerSource, "Out of sync. Terminate connection.");
    } else {
        ZELO_LOG(LogFailure, LineReadError, messengerSource, "Read error. Terminate connection");
    }
}

bool IPCMessengerClient::hasQueueOverflowed()
{
    pthread_helper::guard lock(senderMutex);
    return sender && sender->hasOverflowed();
}

/// Ends the connection. The sender's thread goes first: it must not write to a descriptor that is somebody else's by
/// then.
///
/// @return the sender, without a thread; its destruction destroys what was queued
std::unique_ptr<IPCMessengerClient::OutMessageSender> IPCMessengerClient::disconnect()
{
    std::unique_ptr<OutMessageSender> ended;
    {
        pthread_helper::guard lock(senderMutex);
        ended.swap(sender);
    }
    if (ended) {
        ended->end();
    }
    closeSocket();
    return ended;
}
