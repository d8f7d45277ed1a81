#include "zelobox/check/Client.h"

#include <linux/sockios.h>
#include <poll.h>
#include <sys/ioctl.h>

#include <cerrno>
#include <cstring>

#include "src/ipc/IPCFrame.h"
#include "zelobox/check/HeaderText.h"
#include "zelobox/protocol/MessageTable.h"

namespace zelobox {

namespace {

using Clock = std::chrono::steady_clock;

Milliseconds const longestTake(20);
size_t const longestList = 200;

Descriptor dial(std::string const& path)
{
    Descriptor socket = connectTo(path);
    if (!socket) {
        throw PeerError("nobody listens on " + path + ": " + std::strerror(errno));
    }
    return socket;
}

} // namespace

std::set<IPCMessageType> typesToHost()
{
    std::set<IPCMessageType> types;
    for (MessageInfo const& info : messageTable()) {
        if (info.toHost) {
            types.insert(info.type);
        }
    }
    return types;
}

CheckClient::CheckClient(std::string const& socketPath, Milliseconds timeout, RunLog& runLog)
    : connection(dial(socketPath)), limit(timeout), log(&runLog), number(runLog.connect()),
      sent(std::make_unique<StreamDecoder>())
{
}

CheckClient::~CheckClient()
{
    if (sent) {
        noteEnd();
    }
}

void CheckClient::sendBytes(std::vector<char> const& bytes)
{
    noteSent(bytes);
    connection.sendBytes(bytes, limit);
}

void CheckClient::sendSingly(std::vector<char> const& bytes)
{
    noteSent(bytes);
    for (char const byte : bytes) {
        connection.sendBytes({byte}, limit);
        waitUntilTaken(longestTake);
    }
}

void CheckClient::waitUntilTaken(Milliseconds longest) const
{
    auto const end = Clock::now() + longest;
    int queued = 1;
    while (ioctl(connection.descriptor(), SIOCOUTQ, &queued) == 0 && queued > 0 && Clock::now() < end) {
        poll(nullptr, 0, 1);
    }
}

void CheckClient::subscribe(std::set<IPCMessageType> const& types)
{
    subscribed.insert(types.begin(), types.end());
    send(frameOf(IPCMessageAllowedMessageList(types)));
}

Frame CheckClient::configuration()
{
    request();
    return awaitConfiguration();
}

Frame CheckClient::awaitConfiguration()
{
    auto const end = Clock::now() + limit;
    std::string others;
    for (;;) {
        std::optional<Frame> frame = next(std::chrono::ceil<Milliseconds>(end - Clock::now()));
        if (!frame) {
            std::string const rest = unfinished();
            throw PeerTimeout("no IPC_BROWSER_CONFIG within " + std::to_string(limit.count()) + " ms" +
                              (others.empty() ? "" : "; instead came: " + others) + (rest.empty() ? "" : "; " + rest));
        }
        if (frame->type == IPC_BROWSER_CONFIG) {
            return *frame;
        }
        if (others.size() < longestList) {
            others += (others.empty() ? "" : ", ") + typeText(frame->type);
        }
    }
}

std::optional<Frame> CheckClient::next(Milliseconds duration)
{
    auto const end = Clock::now() + duration;
    try {
        for (;;) {
            if (reader.pending() != 0 && reader.unread().front() != static_cast<char>(IPCFrameHeader::Sync)) {
                receiveMore();
                throw PeerError(wrongSyncText(reader.unread(), received));
            }
            std::optional<Frame> frame = reader.next();
            if (frame) {
                received += IPCFrameHeader::Size + frame->payload.size();
                noteReceived(*frame);
                return frame;
            }
            char const byte = connection.receiveBytes(1, std::chrono::ceil<Milliseconds>(end - Clock::now()))[0];
            reader.append(&byte, 1);
        }
    } catch (PeerTimeout const&) {
        return std::nullopt;
    }
}

std::string CheckClient::unfinished() const
{
    return reader.pending() != 0 ? unfinishedText(reader.unread()) : "";
}

/// What follows a wrong byte says where it comes from.
void CheckClient::receiveMore()
{
    try {
        while (reader.pending() < IPCFrameHeader::Size) {
            char const byte = connection.receiveBytes(1, longestTake)[0];
            reader.append(&byte, 1);
        }
    } catch (PeerError const&) {
        // Then these are all.
    }
}

void CheckClient::noteSent(std::vector<char> const& bytes)
{
    sent->append(bytes.data(), bytes.size());
    while (std::optional<TraceRecord> record = sent->next()) {
        record->direction = Direction::ToMiddleware;
        log->take(number, *record);
    }
}

void CheckClient::noteReceived(Frame const& frame)
{
    TraceRecord record;
    record.frame = frame;
    log->take(number, record);
    if (frame.type != IPC_BROWSER_CONFIG && subscribed.count(frame.type) == 0) {
        log->takeUnsubscribed(frame.type);
    }
}

void CheckClient::noteEnd()
{
    TraceRecord record;
    record.event = TraceRecord::Event::Raw;
    if (reader.pending() != 0) {
        record.bytes = reader.unread();
        log->take(number, record);
    }
    while (std::optional<TraceRecord> rest = sent->next(true)) {
        rest->direction = Direction::ToMiddleware;
        log->take(number, *rest);
    }
    record.event = TraceRecord::Event::Disconnected;
    record.reason = "closed by the client";
    log->take(number, record);
}

} // namespace zelobox
