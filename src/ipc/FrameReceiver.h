/// @file
/// The reading half of one connection.
#ifndef ZELO_IPC_FRAMERECEIVER_H
#define ZELO_IPC_FRAMERECEIVER_H

#include <stddef.h>

#include <vector>

#include "src/ipc/IPCFrame.h"
#include "src/ipc/IPCMessengerClient.h"

/// Reads one whole frame after another, on the client's thread.
///
/// A time-out or a signal means: look whether the client goes on, then read on. So does an end that comes while the
/// client is being stopped, because the stop itself has shut the socket down.
class IPCMessengerClient::FrameReceiver {
public:
    FrameReceiver(IPCMessengerClient const& owner, int connectedFd) : client(owner), fd(connectedFd) {}

    /// @param header   of the frame
    /// @param payload  all of it; replaced
    /// @throw std::bad_alloc for a payload that cannot be buffered
    Reception receive(IPCFrameHeader& header, std::vector<char>& payload);

private:
    Reception receiveHeader(IPCFrameHeader& header);
    Reception receivePayload(size_t length, std::vector<char>& payload);
    Reception receiveBytes(char* bytes, size_t size, size_t& have);

    IPCMessengerClient const& client;
    int const fd;
};

#endif
