#include "simulator/Box.h"

#include "simulator/BoxConfig.h"
#include "simulator/FrameJson.h"

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
    for (auto const& [client, types] : subscriptions) {
        if (types.count(frame.type) != 0) {
            receivers.push_back(client);
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
        TraceRecord record = eventRecord(client, Event::Raw);
        record.bytes = bytes;
        tell(record);
        server.send(client, bytes);
    }
}

void Box::dropClients()
{
    for (ClientId const client : clients()) {
        server.disconnect(client);
        onDisconnected(client, "dropped by the middleware");
    }
}

void Box::onConnected(ClientId client)
{
    subscriptions[client]; // to nothing, so far
    tell(eventRecord(client, Event::Connected));
}

void Box::onFrame(ClientId client, Frame const& frame)
{
    tell(frameRecord(client, Direction::ToMiddleware, frame));
    if (frame.type == IPC_ALLOWED_MESSAGE_LIST) {
        subscriptions[client] = fieldsOf(frame).value("types", std::set<uint32_t>());
    } else if (frame.type == IPC_CONFIG_REQUEST && answering) {
        sendTo({client}, {IPC_PAYLOAD_RAW, IPC_BROWSER_CONFIG, payloadOf(boxState.config)});
    }
    takeOver(frame);
}

void Box::onDisconnected(ClientId client, std::string const& reason)
{
    subscriptions.erase(client);
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
