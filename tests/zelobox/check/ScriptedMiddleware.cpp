#include "tests/zelobox/check/ScriptedMiddleware.h"

#include <unistd.h>

#include <stdexcept>

#include "zelobox/protocol/FrameJson.h"

namespace program {

ScriptedMiddleware::ScriptedMiddleware(std::string const& path, Bytes configuration, Bytes events)
    : answer(std::move(configuration)), more(std::move(events)), server(loop, *this, path)
{
    if (pipe(wake) != 0) {
        throw std::runtime_error("no pipe to stop the middleware with");
    }
    loop.watch(wake[0], [this] { stopped = true; });
    thread =
        std::thread([this] { loop.run(zelobox::EventLoop::Clock::time_point::max(), [this] { return stopped; }); });
}

ScriptedMiddleware::~ScriptedMiddleware()
{
    close(wake[1]);
    thread.join();
    loop.forget(wake[0]);
    close(wake[0]);
}

void ScriptedMiddleware::onFrame(zelobox::ClientId client, zelobox::Frame const& frame)
{
    if (frame.type == IPC_ALLOWED_MESSAGE_LIST) {
        std::set<uint32_t> const types = zelobox::fieldsOf(frame).value("types", std::set<uint32_t>());
        if (types.count(IPC_VOLUME) != 0) {
            subscribers.insert(client);
        }
    } else if (frame.type == IPC_CONFIG_REQUEST) {
        server.send(client, answer);
        if (subscribers.count(client) != 0) {
            server.send(client, more);
        }
    }
}

void ScriptedMiddleware::onDisconnected(zelobox::ClientId client, std::string const&)
{
    subscribers.erase(client);
}

} // namespace program
