#include "zelobox/middleware/Middleware.h"

#include <algorithm>

#include "zelobox/protocol/BrowserConfigPayload.h"
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

} // namespace

Middleware::Middleware(EventLoop& loop, std::string const& socketPath, IPCBrowserConfig const& config)
    : server(loop, *this, socketPath)
{
    current.config = config;
}

size_t Middleware::send(Frame const& frame)
{
    std::vector<ClientId> receivers;
    for (auto const& [id, client] : connected) {
        if (client.types.count(frame.type) != 0 || is(FaultMode::IgnoreAllowedList)) {
            receivers.push_back(id);
        }
    }
    sendTo(receivers, frame);
    return receivers.size();
}

size_t Middleware::sendToAll(Frame const& frame)
{
    std::vector<ClientId> const receivers = clients();
    sendTo(receivers, frame);
    return receivers.size();
}

size_t Middleware::waitingClients() const
{
    std::vector<ClientId> const all = clients();
    auto const waits = [this](ClientId client) { return !server.hasTakenAll(client); };
    return static_cast<size_t>(std::count_if(all.begin(), all.end(), waits));
}

void Middleware::sendRaw(std::vector<char> const& bytes)
{
    for (ClientId const client : clients()) {
        sendRawTo(client, bytes);
    }
}

void Middleware::sendRawTo(ClientId client, std::vector<char> const& bytes)
{
    TraceRecord record = eventRecord(client, Event::Raw);
    record.bytes = bytes;
    tell(record);
    server.send(client, bytes);
}

void Middleware::dropClients()
{
    apply(FaultMode::Drop);
}

void Middleware::apply(FaultMode what)
{
    if (what == FaultMode::None) {
        lasting.clear();
        repeated.clear();
    } else if (infoOf(what).lasts) {
        lasting.insert(what);
    } else {
        for (ClientId const client : clients()) {
            applyTo(client, what);
        }
    }
    server.setFaults(serverFaultsOf(lasting));
}

void Middleware::applyAlways(FaultMode what)
{
    if (what == FaultMode::None || infoOf(what).lasts) {
        apply(what);
    } else {
        repeated.insert(what);
    }
}

void Middleware::applyTo(ClientId client, FaultMode what)
{
    if (what == FaultMode::Drop) {
        drop(client, "dropped by the middleware");
    } else if (what != FaultMode::LieInside || connected[client].types.count(IPC_APP_LIFECYCLE) != 0) {
        sendRawTo(client, wrongBytesOf(what));
    }
}

void Middleware::onConnected(ClientId client)
{
    connected[client]; // subscribed to nothing, so far
    tell(eventRecord(client, Event::Connected));
}

void Middleware::onFrame(ClientId client, Frame const& frame)
{
    tell(frameRecord(client, Direction::ToMiddleware, frame));
    takeOver(frame);
    if (frame.type == IPC_ALLOWED_MESSAGE_LIST) {
        subscribe(client, frame);
    } else if (frame.type == IPC_CONFIG_REQUEST) {
        answer(client);
    } else if (findMessage(frame.type) == nullptr && is(FaultMode::RefuseUnknown)) {
        drop(client, "sent a type that is not known");
    }
}

void Middleware::subscribe(ClientId id, Frame const& list)
{
    Client& client = connected[id];
    std::vector<uint32_t> const types = typesIn(list);
    client.types = {types.begin(), types.end()};
    if (client.hasList && is(FaultMode::RefuseRepeatedList)) {
        return drop(id, "subscribed twice");
    }
    client.hasList = true;
}

void Middleware::answer(ClientId id)
{
    Client& client = connected[id];
    bool const isEnough = client.hasConfig && is(FaultMode::AnswerOnce);
    if (!answering || isEnough || is(FaultMode::Silent)) {
        return;
    }
    bool const isFirst = !client.hasConfig;
    client.hasConfig = true;
    Frame message = {IPC_PAYLOAD_RAW, IPC_BROWSER_CONFIG, payloadOf(current.config)};
    spoilConfig(lasting, isFirst, message);
    tell(frameRecord(id, Direction::ToHost, message));
    server.send(id, bytesOf(message));
    if (isFirst && briefing) {
        brief(id);
    }
    for (FaultMode const mode : repeated) {
        applyTo(id, mode);
    }
}

/// Tells a newcomer what it would otherwise learn with the next change only. What nobody has said is not known here.
void Middleware::brief(ClientId id)
{
    std::vector<Frame> frames;
    if (knowsVolume) {
        frames.push_back(frameOf(IPCMessageUnsignedInt(IPC_VOLUME, current.volume)));
    }
    if (knowsMute) {
        frames.push_back(frameOf(IPCMessageUnsignedInt(IPC_MUTE, current.muted ? 1 : 0)));
    }
    if (current.paused) {
        frames.push_back(frameOf(IPCMessageSimpleString(IPC_APP_LIFECYCLE, "onpause")));
    }
    for (Frame const& frame : frames) {
        if (connected[id].types.count(frame.type) != 0) {
            tell(frameRecord(id, Direction::ToHost, frame));
            server.send(id, bytesOf(frame));
        }
    }
}

void Middleware::drop(ClientId client, std::string const& reason)
{
    server.disconnect(client);
    onDisconnected(client, reason);
}

void Middleware::onDisconnected(ClientId client, std::string const& reason)
{
    connected.erase(client);
    TraceRecord record = eventRecord(client, Event::Disconnected);
    record.reason = reason;
    tell(record);
}

void Middleware::sendTo(std::vector<ClientId> const& receivers, Frame const& frame)
{
    std::vector<char> const bytes = bytesOf(frame);
    TraceRecord record = frameRecord(0, Direction::ToHost, frame);
    for (ClientId const client : receivers) {
        record.connection = client;
        notify(record);
        server.send(client, bytes);
    }
    record.forgetFields();
    takeOver(frame);
}

void Middleware::takeOver(Frame const& frame)
{
    current.takeOver(frame);
    knowsVolume = knowsVolume || frame.type == IPC_VOLUME;
    knowsMute = knowsMute || frame.type == IPC_MUTE;
}

void Middleware::tell(TraceRecord record)
{
    notify(record);
    record.forgetFields();
}

void Middleware::follow(TraceRecord const& record)
{
    for (Observer* const observer : observers) {
        observer->onTraffic(record);
    }
    record.forgetFields();
    if (record.event == Event::Frame) {
        takeOver(record.frame);
    }
}

void Middleware::notify(TraceRecord& record)
{
    record.time = traceTime();
    for (Observer* const observer : observers) {
        observer->onTraffic(record);
    }
}

} // namespace zelobox
