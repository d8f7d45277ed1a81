#include "src/ipc/OutMessageSender.h"

#include <errno.h>
#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <exception>

#include "src/common/Log.h"
#include "src/common/RealTime.h"

namespace {

char const sourceFile[] = "src/ipc/OutMessageSender";

/// The send time-out holds for each buffer that the kernel makes of a write, so a long write to a slow peer could keep
/// a stop waiting for many of them. This much fits into one.
size_t const writeStep = size_t{32} * 1024;

/// A write to a peer that is gone must be a failed write. The process's disposition is the host's.
void blockSigPipe()
{
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
}

} // namespace

IPCMessengerClient::OutMessageSender::OutMessageSender(int fd) : socketFd(fd)
{
    setName("ipc_snd");
}

IPCMessengerClient::OutMessageSender::~OutMessageSender()
{
    end();
}

void IPCMessengerClient::OutMessageSender::push(std::unique_ptr<IPCMessage> message)
{
    if (!connected) {
        return;
    }
    pthread_helper::guard lock(queueMutex);
    queue.push_back(std::move(message));
    queueCond.signal();
}

void IPCMessengerClient::OutMessageSender::end()
{
    {
        // Without the flag a sender that has just begun to wait would sleep through the stop until its deadline, which
        // lies an hour away when the wall clock has just been set back.
        pthread_helper::guard lock(queueMutex);
        ending = true;
        queueCond.signal();
    }
    if (isRunning()) {
        stop();
    }
}

void IPCMessengerClient::OutMessageSender::run()
{
    blockSigPipe();
    bool healthy = true;
    while (healthy && isWanted()) {
        std::unique_ptr<IPCMessage> const message = takeNext();
        healthy = message == nullptr || send(*message);
    }
    connected = false;
}

/// @return the oldest message; null if none came in time
std::unique_ptr<IPCMessage> IPCMessengerClient::OutMessageSender::takeNext()
{
    pthread_helper::guard lock(queueMutex);
    if (queue.empty() && !ending) {
        queueCond.timedWait(queueMutex, realTimeIn(200));
    }
    std::unique_ptr<IPCMessage> message;
    if (!queue.empty()) {
        message = std::move(queue.front());
        queue.pop_front();
    }
    return message;
}

/// @return false if the thread is to end
bool IPCMessengerClient::OutMessageSender::send(IPCMessage& message)
{
    try {
        message.serialize();
    } catch (std::exception const&) {
        ZELO_LOG(LogFailure, __LINE__, sourceFile, "Out connection error");
        return false;
    }
    IPCFrameHeader const header = {message.headerKind, message.headerType,
                                   static_cast<uint32_t>(message.payload.size())};
    char headerBytes[IPCFrameHeader::Size];
    writeFrameHeader(header, headerBytes);
    return writeFully(headerBytes, sizeof headerBytes) && isWanted() &&
           writeFully(message.payload.data(), message.payload.size());
}

/// @return false if the thread is to end
bool IPCMessengerClient::OutMessageSender::writeFully(char const* bytes, size_t size)
{
    size_t done = 0;
    while (done < size) {
        ssize_t const count = write(socketFd, bytes + done, std::min(size - done, writeStep));
        if (count > 0) {
            done += static_cast<size_t>(count);
        } else if (count == 0 || (errno != EAGAIN && errno != EINTR)) {
            ZELO_LOG(LogFailure, __LINE__, sourceFile, "Out connection error");
            return false;
        }
        if (done < size && !isWanted()) {
            return false;
        }
    }
    return true;
}
