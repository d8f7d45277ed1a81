#include "zelobox/check/Client.h"

#include <linux/sockios.h>
#include <poll.h>
#include <sys/ioctl.h>

#include <cerrno>
#include <cstring>

#include "zelobox/protocol/MessageTable.h"

namespace zelobox {

namespace {

using Clock = std::chrono::steady_clock;

Milliseconds const longestTake(20);

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

CheckClient::CheckClient(std::string const& socketPath, Milliseconds timeout)
    : connection(dial(socketPath)), limit(timeout)
{
}

void CheckClient::sendSingly(std::vector<char> const& bytes)
{
    for (char const byte : bytes) {
        sendBytes({byte});
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
    for (;;) {
        std::optional<Frame> frame = next(std::chrono::ceil<Milliseconds>(end - Clock::now()));
        if (!frame) {
            throw PeerTimeout("no IPC_BROWSER_CONFIG within " + std::to_string(limit.count()) + " ms");
        }
        if (frame->type == IPC_BROWSER_CONFIG) {
            return *frame;
        }
    }
}

std::optional<Frame> CheckClient::next(Milliseconds duration)
{
    auto const end = Clock::now() + duration;
    try {
        for (;;) {
            std::optional<Frame> frame = reader.next();
            if (frame) {
                frames.push_back(*frame);
                return frame;
            }
            char const byte = connection.receiveBytes(1, std::chrono::ceil<Milliseconds>(end - Clock::now()))[0];
            reader.append(&byte, 1);
        }
    } catch (PeerTimeout const&) {
        return std::nullopt;
    }
}

} // namespace zelobox
