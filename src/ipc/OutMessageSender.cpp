#include "src/ipc/OutMessageSender.h"

#include <errno.h>
#include <pthread.h>
#include <signal.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <exception>

#include "src/common/TimedWait.h"
#include "src/ipc/MessengerLog.h"
#include "src/ipc/MessengerSocket.h"

namespace {

/// More than any peer that reads has ever waiting; 10 MB of requests.
size_t const queueLimit = 131072;

unsigned const queueWaitMs = 200;

int const finishMs = 200;

/// What a thread has that comes to finish late because others had the processor.
int const finishGraceMs = 100;

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

/// @return a time that nobody sets
int64_t monotonicMs()
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1000000;
}

} // namespace

IPCMessengerClient::OutMessageSender::OutMessageSender(int fd) : socketFd(fd)
{
    setName("ipc_snd");
}

IPCMessengerClient::OutMessageSender::~OutMessageSender()
{
    end();
    pthread_helper::guard lock(queueMutex);
    while (!queue.empty()) {
        queue.pop_front();
    }
}

void IPCMessengerClient::OutMessageSender::push(std::unique_ptr<IPCMessage> message)
{
    if (!connected) {
        return;
    }
    pthread_helper::guard lock(queueMutex);
    if (queue.size() < queueLimit) {
        queue.push_back(std::move(message));
        queueCond.signal();
        return;
    }
    overflowed = true;
    connected = false;
    ending = true;
    queueCond.signal();
    lock.unlock();
    shutDownMessengerSocket(socketFd);
}

void IPCMessengerClient::OutMessageSender::finish()
{
    {
        pthread_helper::guard lock(queueMutex);
        if (!finishing) {
            finishByMs = monotonicMs() + finishMs;
            finishing = true;
        }
        queueCond.signal();
    }
    if (isRunning()) {
        stop();
    }
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

bool IPCMessengerClient::OutMessageSender::isWanted()
{
    if (ending) {
        return false;
    }
    // A thread that is to finish is told so first and to stop then: read in the other order, both are seen or neither.
    bool const runs = isRunning();
    return finishing ? isInTime() : runs;
}

bool IPCMessengerClient::OutMessageSender::isInTime()
{
    int64_t const now = monotonicMs();
    if (!hasSeenFinish) {
        hasSeenFinish = true;
        finishByMs = std::max(finishByMs, now + finishGraceMs);
    }
    return now < finishByMs;
}

/// @return the oldest message; null if none came in time
std::unique_ptr<IPCMessage> IPCMessengerClient::OutMessageSender::takeNext()
{
    pthread_helper::guard lock(queueMutex);
    if (queue.empty() && !ending && !finishing) {
        waitUpTo(queueCond, queueMutex, queueWaitMs);
    }
    std::unique_ptr<IPCMessage> message;
    if (!queue.empty()) {
        message = std::move(queue.front());
        queue.pop_front();
    } else if (finishing) {
        ending = true; // decided under the lock: what is pushed before the finish is written
    }
    return message;
}

/// @return false if the thread is to end
bool IPCMessengerClient::OutMessageSender::send(IPCMessage& message)
{
    try {
        message.serialize();
    } catch (std::exception const&) {
        ZELO_LOG(LogFailure, LineWriteError, messengerSource, "Out connection error");
        shutDownMessengerSocket(socketFd); // or the link would only seem to be up
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
        } else if (count == 0 || !isInterruption(errno)) {
            logWriteError();
            return false;
        }
        if (done < size && !isWanted()) {
            return false;
        }
    }
    return true;
}

void IPCMessengerClient::OutMessageSender::logWriteError() const
{
    if (!ending) { // a full queue has shut the socket down and has a line of its own
        ZELO_LOG(LogFailure, LineWriteError, messengerSource, "Out connection error");
    }
}
