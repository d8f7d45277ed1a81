/// @file
/// What the tests of the link share: bytes, frames in failure messages, log lines as texts, times.
#ifndef ZELO_TESTKIT_LINKSUPPORT_H
#define ZELO_TESTKIT_LINKSUPPORT_H

#include <atomic>
#include <functional>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "src/ipc/IPCMessage.h"
#include "testkit/Backlog.h"
#include "testkit/Bytes.h"
#include "testkit/RecordingHandler.h"
#include "testkit/Signal.h"
#include "testkit/Timely.h"
#include "zelobox/protocol/Peer.h"

namespace zelobox {

/// How a frame reads in a failure message.
void PrintTo(Frame const& frame, std::ostream* out);

} // namespace zelobox

namespace testlink {

using timely::eventually;
using timely::timeOf;

using Bytes = std::vector<char>;

Bytes operator+(Bytes left, Bytes const& right);
/// @return a frame of kind 1
zelobox::Frame numberFrame(uint16_t type, uint32_t value);
/// @return @p size bytes that differ from their neighbours
Bytes pattern(size_t size);

/// @return "level message" for every line logged since the last clear, but not the traces of received messages
std::vector<std::string> logged();
/// @return level, line number and file of the only line with this message; fails the test if it is not the only one
std::string originOf(std::string const& message);

/// Log lines as logged() gives them.
namespace line {
char const noCloseOnExec[] = "1 Can't set cloexec";
char const cannotConnect[] = "1 Can not connect to IPC Messagenger server";
char const firstFailure[] = "2 ipc_connection - failed (total 1 times), wait 1.00 sec before next retry";
char const connected[] = "3 Connected to IPC server";
char const retrierOk[] = "4 ipc_connection - ok";
char const outOfSync[] = "1 Out of sync. Terminate connection.";
char const readError[] = "1 Read error. Terminate connection";
char const peerClosed[] = "3 Connection closed";
char const writeError[] = "1 Out connection error";
char const closing[] = "4 Closing connection";
} // namespace line

/// A message whose destruction shows.
class CountedMessage final : public IPCMessageUnsignedInt {
public:
    using IPCMessageUnsignedInt::IPCMessageUnsignedInt;
    CountedMessage(IPCMessageType messageType, uint32_t initial) : IPCMessageUnsignedInt(messageType, initial)
    {
        ++living;
    }
    ~CountedMessage() override { --living; }
    static std::atomic<int> living;
};

/// A message that does something on the sender's thread, just before it is written.
class ActingMessage final : public IPCMessage {
public:
    explicit ActingMessage(std::function<void()> what) : IPCMessage(IPC_PAYLOAD_RAW, IPC_UNHANDLED_8), action(what) {}
    void serialize() override { action(); }

private:
    std::function<void()> const action;
};

} // namespace testlink

#endif
