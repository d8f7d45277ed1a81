#include "zelobox/check/Case.h"
#include "zelobox/protocol/FrameJson.h"
#include "zelobox/protocol/MessageTable.h"

namespace zelobox {

namespace {

Milliseconds const quietTime(200);
std::set<IPCMessageType> const onlyConfig = {IPC_BROWSER_CONFIG};

void append(std::vector<char>& bytes, Frame const& frame)
{
    std::vector<char> const more = bytesOf(frame);
    bytes.insert(bytes.end(), more.begin(), more.end());
}

/// @throw Unexpected unless @p frame has the payload, and @p kind if given the kind, of its type
void requireWellFormed(Frame const& frame)
{
    Json const fields = fieldsOf(frame);
    bool const isConfig = frame.type == IPC_BROWSER_CONFIG;
    if (fields.value("inexact", false) || (isConfig && !fields.contains("language"))) {
        throw Unexpected("cannot be decoded wholly: " + textOf(frame));
    }
}

void requireUsualKind(Frame const& frame)
{
    MessageInfo const* const info = findMessage(frame.type);
    if (info != nullptr && info->kind != frame.kind) {
        throw Unexpected(std::string(info->name) + " came with the payload kind " + std::to_string(frame.kind) +
                         ", not " + std::to_string(info->kind));
    }
}

/// A client that comes after something bad has happened is served as ever.
void requireService(CheckSetting const& setting)
{
    setting.meet(onlyConfig);
}

/// @return what the middleware sends by itself. @throw NotJudged
Frame awaitOwnMessage(CheckSetting const& setting, CheckClient& client, char const* id)
{
    setting.ask(std::string("for ") + id + ": press a key at the box, or change the volume");
    auto const end = std::chrono::steady_clock::now() + setting.patience;
    while (std::optional<Frame> frame =
               client.next(std::chrono::ceil<Milliseconds>(end - std::chrono::steady_clock::now()))) {
        if (frame->type != IPC_BROWSER_CONFIG) {
            return *frame;
        }
    }
    throw NotJudged("nothing was sent");
}

void judgeConfiguration(CheckSetting const& setting)
{
    setting.meet(typesToHost());
}

void judgeFraming(CheckSetting const& setting)
{
    CheckClient client = setting.meet(typesToHost());
    while (client.next(quietTime)) {
    }
    if (client.pending() != 0) {
        throw Unexpected("the last frame is not all there");
    }
}

void judgePayload(CheckSetting const& setting)
{
    requireWellFormed(setting.meet(onlyConfig).seen().back());
}

void judgeKind(CheckSetting const& setting)
{
    requireUsualKind(setting.meet(onlyConfig).seen().back());
}

void judgeMessages(CheckSetting const& setting)
{
    CheckClient client = setting.meet(typesToHost());
    Frame const frame = awaitOwnMessage(setting, client, "messages");
    requireWellFormed(frame);
    requireUsualKind(frame);
}

void judgeSecondRequest(CheckSetting const& setting)
{
    setting.meet(onlyConfig).configuration();
}

void judgeRepeatedList(CheckSetting const& setting)
{
    CheckClient client = setting.connect();
    client.subscribe(onlyConfig);
    client.subscribe(onlyConfig);
    client.configuration();
}

void judgeUnknownType(CheckSetting const& setting)
{
    CheckClient client = setting.meet(onlyConfig);
    client.send({IPC_PAYLOAD_RAW, UINT16_MAX, {1, 2, 3}});
    client.configuration();
}

void judgeSingleBytes(CheckSetting const& setting)
{
    CheckClient client = setting.connect();
    std::vector<char> bytes;
    append(bytes, frameOf(IPCMessageAllowedMessageList(onlyConfig)));
    append(bytes, {IPC_PAYLOAD_RAW, IPC_CONFIG_REQUEST, {}});
    client.sendSingly(bytes);
    client.awaitConfiguration();
}

void judgeTwoClients(CheckSetting const& setting)
{
    CheckClient first = setting.meet(onlyConfig);
    CheckClient second = setting.meet(onlyConfig);
    first.configuration();
    second.configuration();
}

void judgeAllowedList(CheckSetting const& setting)
{
    CheckClient everything = setting.meet(typesToHost());
    CheckClient little = setting.meet(onlyConfig);
    awaitOwnMessage(setting, everything, "allowed-list");
    little.configuration(); // comes after whatever was sent to both
    for (Frame const& frame : little.seen()) {
        if (frame.type != IPC_BROWSER_CONFIG) {
            throw Unexpected(messageName(frame.type) + " came, which was not subscribed to");
        }
    }
}

void judgeVanishingClient(CheckSetting const& setting)
{
    setting.meet(onlyConfig).sendBytes({'m', 1, 0, 38, 0, 0, 0, 4, 0});
    requireService(setting);
}

void judgeGarbage(CheckSetting const& setting)
{
    setting.meet(onlyConfig).sendBytes(std::vector<char>(64, 'x'));
    requireService(setting);
}

void judgeLyingLength(CheckSetting const& setting)
{
    CheckClient liar = setting.meet(onlyConfig);
    liar.sendBytes({'m', 1, 0, 38, '\xFF', '\xFF', '\xFF', '\xFB', 0});
    requireService(setting);
}

void judgeSlowReader(CheckSetting const& setting)
{
    CheckClient slow = setting.meet(onlyConfig);
    CheckClient other = setting.meet(onlyConfig);
    std::vector<char> requests;
    for (int i = 0; i < 4000; ++i) { // their answers are more than a socket holds
        append(requests, {IPC_PAYLOAD_RAW, IPC_CONFIG_REQUEST, {}});
    }
    try {
        slow.sendBytes(requests);
        slow.waitUntilTaken(setting.timeout); // otherwise the other one may come before them
    } catch (PeerTimeout const&) {
        // A middleware need not read what it has no room to answer.
    }
    other.configuration();
}

void judgeReconnects(CheckSetting const& setting)
{
    for (int i = 1; i <= 100; ++i) {
        try {
            setting.meet(onlyConfig);
        } catch (PeerError const& error) {
            throw Unexpected("connection " + std::to_string(i) + ": " + error.what());
        }
    }
}

} // namespace

CheckClient CheckSetting::meet(std::set<IPCMessageType> const& types) const
{
    CheckClient client = connect();
    client.subscribe(types);
    client.configuration();
    return client;
}

std::vector<CheckCase> const& checkCases()
{
    static std::vector<CheckCase> const cases = {
        {"configuration", "a configuration request is answered by an IPC_BROWSER_CONFIG", {}, judgeConfiguration},
        {"framing", "whatever comes is whole frames", {"configuration"}, judgeFraming},
        {"payload", "the configuration decodes wholly", {"framing"}, judgePayload},
        {"kind", "the configuration has the payload kind 0", {"framing"}, judgeKind},
        {"messages",
         "what the box sends by itself has the kind and the payload of its type",
         {"framing"},
         judgeMessages},
        {"second-request", "a second request is answered too", {"framing"}, judgeSecondRequest},
        {"repeated-list", "an allowed list may come twice", {"framing"}, judgeRepeatedList},
        {"unknown-type", "a message of an unknown type is passed over", {"second-request"}, judgeUnknownType},
        {"single-bytes", "frames may come byte by byte", {"framing"}, judgeSingleBytes},
        {"two-clients", "two clients are served at once", {"second-request"}, judgeTwoClients},
        {"allowed-list", "nothing comes that was not subscribed to", {"two-clients"}, judgeAllowedList},
        {"vanishing-client", "a client may go in the middle of a frame", {"framing"}, judgeVanishingClient},
        {"garbage", "a client that sends no frames harms nobody else", {"framing"}, judgeGarbage},
        {"lying-length", "a length of nearly 4 GiB harms nobody else", {"two-clients"}, judgeLyingLength},
        {"slow-reader", "a client that does not read holds nobody else up", {"two-clients"}, judgeSlowReader},
        {"reconnects", "a hundred connections, one after the other", {"framing"}, judgeReconnects},
        {"library-start",
         "libzelocobalt.so starts, has a display size, and stops",
         {"payload", "single-bytes"},
         judgeLibraryStart},
    };
    return cases;
}

} // namespace zelobox
