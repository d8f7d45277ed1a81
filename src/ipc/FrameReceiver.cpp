#include "src/ipc/FrameReceiver.h"

#include <errno.h>
#include <stdint.h>
#include <sys/socket.h>
#include <sys/types.h>

#include <algorithm>

#include "src/ipc/MessengerLog.h"
#include "src/ipc/MessengerSocket.h"

namespace {

/// A length from here on cannot be buffered on the box.
uint32_t const tooLong = 0x80000000U;

/// Up to here a payload has one buffer, made from its header. A longer one grows as its bytes arrive: a header that
/// lies about it must not take the host's address space.
size_t const trustedLength = size_t{1024} * 1024;

/// Memory is touched in steps of this size, as the bytes arrive.
size_t const payloadStep = size_t{256} * 1024;

} // namespace

IPCMessengerClient::Reception IPCMessengerClient::FrameReceiver::receive(IPCFrameHeader& header,
                                                                         std::vector<char>& payload)
{
    if (!client.goesOn()) {
        return Reception::StoppedBetweenFrames; // a fast peer never lets receiveBytes() look
    }
    Reception const reception = receiveHeader(header);
    if (reception != Reception::Frame) {
        return reception;
    }
    if (header.length >= tooLong) {
        return Reception::ReadError;
    }
    ZELO_LOG(LogTrace, LineReceived, messengerSource, "New message received: %u length %u", unsigned{header.type},
             static_cast<unsigned>(header.length));
    return receivePayload(header.length, payload);
}

IPCMessengerClient::Reception IPCMessengerClient::FrameReceiver::receiveHeader(IPCFrameHeader& header)
{
    char bytes[IPCFrameHeader::Size];
    size_t have = 0;
    Reception const reception = receiveBytes(bytes, sizeof bytes, have);
    if (reception == Reception::StoppedInFrame && have == 0) {
        return Reception::StoppedBetweenFrames;
    }
    if (reception != Reception::Frame) {
        return reception;
    }
    if (!client.goesOn()) {
        return Reception::StoppedInFrame;
    }
    return readFrameHeader(bytes, header) ? Reception::Frame : Reception::OutOfSync;
}

IPCMessengerClient::Reception IPCMessengerClient::FrameReceiver::receivePayload(size_t length,
                                                                                std::vector<char>& payload)
{
    payload.clear();
    payload.reserve(std::min(length, trustedLength));
    while (payload.size() < length) {
        if (!client.goesOn()) {
            return Reception::StoppedInFrame;
        }
        size_t const begin = payload.size();
        if (begin == payload.capacity()) {
            payload.reserve(std::min(length, 2 * begin));
        }
        size_t const room = std::min(length, payload.capacity()) - begin;
        size_t const step = std::min(room, payloadStep);
        payload.resize(begin + step);
        size_t have = 0;
        Reception const reception = receiveBytes(payload.data() + begin, step, have);
        if (reception != Reception::Frame) {
            return reception;
        }
    }
    return Reception::Frame;
}

/// Reads until @p size bytes are in. @p have says how many came.
IPCMessengerClient::Reception IPCMessengerClient::FrameReceiver::receiveBytes(char* bytes, size_t size, size_t& have)
{
    while (have < size) {
        ssize_t const count = recv(fd, bytes + have, size - have, 0);
        bool const broken = count < 0 && !isInterruption(errno);
        have += count > 0 ? static_cast<size_t>(count) : 0;
        if (have < size && !client.goesOn()) {
            return Reception::StoppedInFrame;
        }
        if (count == 0) {
            return Reception::PeerClosed;
        }
        if (broken) {
            return Reception::ReadError;
        }
    }
    return Reception::Frame;
}
