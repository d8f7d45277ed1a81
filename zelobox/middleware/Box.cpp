#include "zelobox/middleware/Box.h"

#include "zelobox/protocol/BoxConfig.h"
#include "zelobox/protocol/FrameJson.h"
#include "zelobox/protocol/MessageTable.h"

namespace zelobox {

namespace {

using Event = TraceRecord::Event;

TraceRecord frameRecord(ClientId client, Direction direction, Frame const& frame)
{
    TraceRecord record;
    record.connection = client;
    record.direction = direction;
    record.frame = frame;
    return record;
}

TraceRecord eventRecord(ClientId client, Event event)
{
    TraceRecord record;
    record.connection = client;
    record.event = event;
    return record;
}

uint32_t valueOf(Json const& fields)
{
    return fields.value("value", uint32_t{0});
}

} // namespace

Json jsonOf(BoxState const& state)
{
    return {{"config", jsonOf(state.config)},
            {"volume", state.volume},
            {"muted", state.muted},
            {"paused", state.paused},
            {"videoWindow", {{"x", state.x}, {"y", state.y}, {"width", state.width}, {"height", state.height}}},
            {"windowMode", state.windowMode},
            {"applicationHasControl", state.applicationHasControl}};
}

Box::Box(EventLoop& loop, std::string const& socketPath, IPCBrowserConfig const& config)
    : server(loop, *this, socketPath)
{
    boxState.config = config;
}

size_t Box::send(Frame const& frame)
{
    std::vector<ClientId> receivers;
    for (auto const& [id, client] : connected) {
        if (client.types.count(frame.type) != 0 || is(Misbehaviour::IgnoreAllowedList)) {
            receivers.push_back(id);
        }
    }
    sendTo(receivers, frame);
    return receivers.size();
}

size_t Box::sendToAll(Frame const& frame)
{
    std::vector<ClientId> const receivers = clients();
    sendTo(receivers, frame);
    return receivers.size();
}

void Box::sendRaw(std::vector<char> const& bytes)
{
    for (ClientId const client : clients()) {
        sendRawTo(client, bytes);
    }
}

void Box::sendRawTo(ClientId client, std::vector<char> const& bytes)
{
    TraceRecord record = eventRecord(client, Event::Raw);
    record.bytes = bytes;
    tell(record);
    server.send(client, bytes);
}

void Box::dropClients()
{
    misbehave(Misbehaviour::Drop);
}

void Box::misbehave(Misbehaviour what)
{
    if (what == Misbehaviour::None) {
        lasting.clear();
        habits.clear();
    } else if (infoOf(what).lasts) {
        lasting.insert(what);
    } else {
        for (ClientId const client : clients()) {
            misbehaveTo(client, what);
        }
    }
    server.setManners(mannersOf(lasting));
}

void Box::misbehaveAlways(Misbehaviour what)
{
    if (what == Misbehaviour::None || infoOf(what).lasts) {
        misbehave(what);
    } else {
        habits.insert(what);
    }
}

void Box::misbehaveTo(ClientId client, Misbehaviour what)
{
    if (what == Misbehaviour::Drop) {
        drop(client, "dropped by the middleware");
    } else if (what != Misbehaviour::LieInside || connected[client].types.count(IPC_APP_LIFECYCLE) != 0) {
        sendRawTo(client, wrongBytesOf(what));
    }
}

void Box::onConnected(ClientId client)
{
    connected[client]; // subscribed to nothing, so far
    tell(eventRecord(client, Event::Connected));
}

void Box::onFrame(ClientId client, Frame const& frame)
{
    tell(frameRecord(client, Direction::ToMiddleware, frame));
    takeOver(frame);
    if (frame.type == IPC_ALLOWED_MESSAGE_LIST) {
        subscribe(client, frame);
    } else if (frame.type == IPC_CONFIG_REQUEST) {
        answer(client);
    } else if (findMessage(frame.type) == nullptr && is(Misbehaviour::RefuseUnknown)) {
        drop(client, "sent a type that is not known");
    }
}

void Box::subscribe(ClientId id, Frame const& list)
{
    Client& client = connected[id];
    client.types = fieldsOf(list).value("types", std::set<uint32_t>());
    if (client.hasList && is(Misbehaviour::RefuseRepeatedList)) {
        return drop(id, "subscribed twice");
    }
    client.hasList = true;
}

void Box::answer(ClientId id)
{
    Client& client = connected[id];
    bool const isEnough = client.hasConfig && is(Misbehaviour::AnswerOnce);
    if (!answering || isEnough || is(Misbehaviour::Silent)) {
        return;
    }
    client.hasConfig = true;
    Frame message = {IPC_PAYLOAD_RAW, IPC_BROWSER_CONFIG, payloadOf(boxState.config)};
    spoilConfig(lasting, message);
    tell(frameRecord(id, Direction::ToHost, message));
    server.send(id, bytesOf(message));
    for (Misbehaviour const habit : habits) {
        misbehaveTo(id, habit);
    }
}

void Box::drop(ClientId client, std::string const& reason)
{
    server.disconnect(client);
    onDisconnected(client, reason);
}

void Box::onDisconnected(ClientId client, std::string const& reason)
{
    connected.erase(client);
    TraceRecord record = eventRecord(client, Event::Disconnected);
    record.reason = reason;
    tell(record);
}

void Box::sendTo(std::vector<ClientId> const& receivers, Frame const& frame)
{
    std::vector<char> const bytes = bytesOf(frame);
    for (ClientId const client : receivers) {
        tell(frameRecord(client, Direction::ToHost, frame));
        server.send(client, bytes);
    }
    takeOver(frame);
}

void Box::takeOver(Frame const& frame)
{
    Json const fields = fieldsOf(frame);
    switch (frame.type) {
    case IPC_BROWSER_CONFIG:
        if (IPCBrowserConfig received; received.read(frame.payload)) {
            boxState.config = received;
        }
        break;
    case IPC_VOLUME:
        boxState.volume = valueOf(fields);
        break;
    case IPC_MUTE:
        boxState.muted = valueOf(fields) != 0;
        break;
    case IPC_APP_LIFECYCLE:
        boxState.paused = fields.value("text", "") == "onpause";
        break;
    case IPC_VIDEO_WINDOW:
        boxState.x = fields.value("x", uint16_t{0});
        boxState.y = fields.value("y", uint16_t{0});
        boxState.width = fields.value("width", uint16_t{0});
        boxState.height = fields.value("height", uint16_t{0});
        break;
    case IPC_VIDEO_WINDOW_MODE:
        boxState.windowMode = fields.value("text", "");
        break;
    case IPC_PREVIOUS_CONTROLLER:
        boxState.applicationHasControl = false;
        break;
    case IPC_CLIENT_STATE:
        boxState.applicationHasControl = true;
        break;
    default:
        break;
    }
}

void Box::tell(TraceRecord record)
{
    record.time = traceTime();
    for (Observer* const observer : observers) {
        observer->onTraffic(record);
    }
}

} // namespace zelobox
