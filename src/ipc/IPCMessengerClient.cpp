#include "src/ipc/IPCMessengerClient.h"

#include <errno.h>
#include <fcntl.h>
#include <stddef.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <exception>
#include <new>

#include "src/common/Log.h"
#include "src/ipc/OutMessageSender.h"

namespace {

char const sourceFile[] = "src/ipc/IPCMessengerClient";

char const socketPath[] = "/tmp/zelo_messenger";

/// Slices of the back-off: how long a stop may have to wait for it.
useconds_t const backOffSliceUs = 200000;

/// As many connections in a row without a frame are no chance any more.
unsigned const toleratedFruitlessConnections = 1;

// How long a blocked socket call may keep a stop waiting. Both together stay well under the 500 ms that a stop may
// take; the longer one wakes an idle process least.
suseconds_t const receiveTimeoutUs = 200000;
suseconds_t const sendTimeoutUs = 100000;

/// A length from here on cannot be buffered on the box.
uint32_t const tooLong = 0x80000000U;

/// Payload memory is touched in steps of this size, as the bytes arrive: a header that lies costs address space only.
size_t const payloadStep = size_t{256} * 1024;

/// @return @p fd, or a duplicate if it is 0, which means "none" here; -1 if there is no duplicate
int aboveZero(int fd)
{
    if (fd != 0) {
        return fd;
    }
    int const moved = fcntl(fd, F_DUPFD, STDERR_FILENO + 1);
    close(fd);
    return moved;
}

bool setTimeout(int fd, int option, suseconds_t timeoutUs)
{
    timeval timeout;
    timeout.tv_sec = 0;
    timeout.tv_usec = timeoutUs;
    return setsockopt(fd, SOL_SOCKET, option, &timeout, sizeof timeout) == 0;
}

/// @return true after a time-out or a signal: look whether to go on, then try again
bool isInterruption(int error)
{
    return error == EAGAIN || error == EINTR;
}

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
        ZELO_LOG(LogConnection, __LINE__, sourceFile, "Closing connection");
    }
    tearDown();
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
    tearDown(); // a stop between frames has left its connection to the destructor, but there is a new start
    while (isRunning() && !stopRequested) {
        int fd;
        if (!retrier.isDue()) {
            usleep(backOffSliceUs);
        } else if (openConnection(fd)) {
            ++fruitlessConnections;
            serveConnection(fd);
            if (fruitlessConnections > toleratedFruitlessConnections && isRunning()) {
                usleep(backOffSliceUs);
            }
        }
    }
}

bool IPCMessengerClient::openConnection(int& fd)
{
    fd = openSocket();
    Progress const progress = connectSocket(fd);
    if (progress == Progress::Done) {
        ZELO_LOG(LogNotable, __LINE__, sourceFile, "Connected to IPC server");
        retrier.succeeded();
        return true;
    }
    if (progress == Progress::Failed) {
        ZELO_LOG(LogFailure, __LINE__, sourceFile, "Can not connect to IPC Messagenger server");
        retrier.failed();
    }
    closeSocket();
    return false;
}

/// @return the new socket; if there is none, a descriptor that connectSocket() fails with
int IPCMessengerClient::openSocket()
{
    pthread_helper::guard lock(connectionMutex);
    socketFd = aboveZero(socket(AF_UNIX, SOCK_STREAM, 0));
    if (fcntl(socketFd, F_SETFD, FD_CLOEXEC) != 0) {
        ZELO_LOG(LogFailure, __LINE__, sourceFile, "Can't set cloexec");
    }
    return socketFd;
}

void IPCMessengerClient::closeSocket()
{
    pthread_helper::guard lock(connectionMutex);
    if (socketFd > 0) {
        close(socketFd);
    }
    socketFd = 0;
}

IPCMessengerClient::Progress IPCMessengerClient::connectSocket(int fd)
{
    // A socket without time-outs could block a stop, so it counts as one that cannot connect.
    if (!setTimeout(fd, SO_RCVTIMEO, receiveTimeoutUs) || !setTimeout(fd, SO_SNDTIMEO, sendTimeoutUs)) {
        return Progress::Failed;
    }
    sockaddr_un address;
    memset(&address, 0, sizeof address);
    address.sun_family = AF_UNIX;
    size_t const pathLength = sizeof socketPath - 1; // without the terminator
    memcpy(address.sun_path, socketPath, pathLength);
    socklen_t const length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + pathLength);
    while (connect(fd, reinterpret_cast<sockaddr const*>(&address), length) != 0) {
        if (!isInterruption(errno)) {
            return Progress::Failed;
        }
        if (!isRunning()) {
            return Progress::Stopped;
        }
    }
    return Progress::Done;
}

void IPCMessengerClient::serveConnection(int fd)
{
    bool handlersKnow = false;
    Progress progress = Progress::Failed;
    try {
        startSender(fd);
        handlersKnow = true;
        tellHandlers(&IPCMessengerHandler::onConnected);
        progress = receiveFrames(fd);
    } catch (std::bad_alloc const&) {
        ZELO_LOG(LogFailure, __LINE__, sourceFile, "Read error. Terminate connection");
    }
    if (progress == Progress::Done) {
        return; // stopped between frames: the destructor closes the socket and says so
    }
    if (progress == Progress::Failed && handlersKnow) {
        tellHandlers(&IPCMessengerHandler::onDisconnected);
    }
    tearDown();
}

/// Makes the sender of a new connection, which begins with the stored allowed set.
void IPCMessengerClient::startSender(int fd)
{
    std::unique_ptr<OutMessageSender> next(new OutMessageSender(fd));
    next->start(nullptr);
    pthread_helper::guard lock(senderMutex);
    sender.swap(next);
    if (!allowedMessages.empty()) {
        sender->push(std::unique_ptr<IPCMessage>(new IPCMessageAllowedMessageList(allowedMessages)));
    }
}

bool IPCMessengerClient::senderHasFailed()
{
    pthread_helper::guard lock(senderMutex);
    return sender && !sender->isConnected();
}

void IPCMessengerClient::tellHandlers(Event event)
{
    pthread_helper::guard lock(handlersMutex);
    for (IPCMessengerHandler* const handler : handlers) {
        (handler->*event)();
    }
}

/// Ends the connection. The sender's thread goes first: it must not write to a descriptor that is somebody else's by
/// then.
void IPCMessengerClient::tearDown()
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
}

/// @return Done if the stop was seen between frames
IPCMessengerClient::Progress IPCMessengerClient::receiveFrames(int fd)
{
    while (isRunning()) {
        char bytes[IPCFrameHeader::Size];
        size_t have = 0;
        Progress const progress = receive(fd, bytes, sizeof bytes, have);
        if (progress == Progress::Stopped && have == 0) {
            break;
        }
        if (progress != Progress::Done) {
            return progress;
        }
        if (!isRunning()) {
            return Progress::Stopped;
        }
        IPCFrameHeader header;
        if (!readFrameHeader(bytes, header)) {
            ZELO_LOG(LogFailure, __LINE__, sourceFile, "Out of sync. Terminate connection.");
            return Progress::Failed;
        }
        std::vector<char> payload;
        Progress const payloadProgress = receivePayload(fd, header, payload);
        if (payloadProgress != Progress::Done) {
            return payloadProgress;
        }
        fruitlessConnections = 0;
        dispatch(header, std::move(payload));
    }
    return Progress::Done;
}

/// @param error  of a recv() that brought nothing
/// @return true if the connection cannot go on
bool IPCMessengerClient::isBroken(int error)
{
    if (!isInterruption(error)) {
        return true;
    }
    fruitlessConnections = 0; // a connection that lasts is no part of a storm, however silent
    // A sender that has failed leaves a link that only seems to be up: nothing that is pushed would ever leave.
    return senderHasFailed();
}

/// Reads until @p size bytes are in. @p have says how many came.
IPCMessengerClient::Progress IPCMessengerClient::receive(int fd, char* bytes, size_t size, size_t& have)
{
    have = 0;
    while (have < size) {
        ssize_t const count = recv(fd, bytes + have, size - have, 0);
        if (count == 0) {
            ZELO_LOG(LogNotable, __LINE__, sourceFile, "Connection closed");
            return Progress::Failed;
        }
        if (count > 0) {
            have += static_cast<size_t>(count);
        }
        bool const broken = count < 0 && isBroken(errno);
        if (have < size && !isRunning()) {
            return Progress::Stopped;
        }
        if (broken) {
            ZELO_LOG(LogFailure, __LINE__, sourceFile, "Read error. Terminate connection");
            return Progress::Failed;
        }
    }
    return Progress::Done;
}

/// @throw std::bad_alloc
IPCMessengerClient::Progress IPCMessengerClient::receivePayload(int fd, IPCFrameHeader const& header,
                                                                std::vector<char>& payload)
{
    if (header.length >= tooLong) {
        ZELO_LOG(LogFailure, __LINE__, sourceFile, "Read error. Terminate connection");
        return Progress::Failed;
    }
    ZELO_LOG(LogTrace, __LINE__, sourceFile, "New message received: %u length %u", unsigned{header.type},
             static_cast<unsigned>(header.length));
    payload.reserve(header.length);
    while (payload.size() < header.length) {
        if (!isRunning()) {
            return Progress::Stopped; // a fast peer never lets receive() look
        }
        size_t const begin = payload.size();
        size_t const step = std::min(header.length - begin, payloadStep);
        payload.resize(begin + step);
        size_t have;
        Progress const progress = receive(fd, payload.data() + begin, step, have);
        if (progress != Progress::Done) {
            return progress;
        }
    }
    return Progress::Done;
}

/// Shows a message to the handlers. One that cannot be decoded or handled is dropped: its frame was whole.
///
/// @throw std::bad_alloc
void IPCMessengerClient::dispatch(IPCFrameHeader const& header, std::vector<char>&& payload)
{
    try {
        std::auto_ptr<IPCMessage> const message = makeReceivedMessage(header.kind, header.type, std::move(payload));
        pthread_helper::guard lock(handlersMutex);
        for (IPCMessengerHandler* const handler : handlers) {
            handler->onNewMessageReceived(message.get());
        }
    } catch (std::bad_alloc const&) {
        throw; // the middleware repeats what matters on a new connection
    } catch (std::exception const&) {
        ZELO_LOG(LogBadData, __LINE__, sourceFile, "Message dropped: type %u length %u", unsigned{header.type},
                 static_cast<unsigned>(header.length));
    }
}
