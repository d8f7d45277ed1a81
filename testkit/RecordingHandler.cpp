#include "testkit/RecordingHandler.h"

#include <algorithm>

#include "testkit/HostStandIn.h"
#include "testkit/Wait.h"

namespace testlink {

void RecordingHandler::onConnected()
{
    if (whenConnected) {
        whenConnected();
    }
    record("connected");
}

void RecordingHandler::onDisconnected()
{
    if (whenDisconnected) {
        whenDisconnected();
    }
    record("disconnected");
}

void RecordingHandler::onNewMessageReceived(IPCMessage const* message)
{
    if (whenReceived) {
        whenReceived(message);
    }
    {
        std::lock_guard<std::mutex> const lock(mutex);
        received.push_back({message->headerKind, message->headerType, message->payload});
    }
    record("message " + std::to_string(message->type));
}

void RecordingHandler::record(std::string const& event)
{
    std::lock_guard<std::mutex> const lock(mutex);
    recorded.push_back(event);
}

std::vector<std::string> RecordingHandler::events() const
{
    std::lock_guard<std::mutex> const lock(mutex);
    return recorded;
}

std::vector<zelobox::Frame> RecordingHandler::frames() const
{
    std::lock_guard<std::mutex> const lock(mutex);
    return received;
}

bool RecordingHandler::waitFor(std::string const& event, size_t count, Milliseconds deadline)
{
    return timely::eventually(
        [&] {
            std::lock_guard<std::mutex> const lock(mutex);
            return static_cast<size_t>(std::count(recorded.begin(), recorded.end(), event)) >= count;
        },
        deadline);
}

Link::Link()
{
    standin::clearLog();
    client.addHandler(&handler);
}

Link::~Link()
{
    if (client.isRunning()) {
        client.stop();
    }
    client.removeHandler(&handler);
}

void Link::start()
{
    client.clearStopRequest();
    client.start(nullptr);
}

zelobox::Connection Link::startAndAccept(zelobox::Listener& listener)
{
    start();
    zelobox::Connection middleware = listener.accept();
    if (!handler.waitFor("connected")) {
        throw zelobox::PeerTimeout("the handlers were not told of the connection");
    }
    return middleware;
}

} // namespace testlink
