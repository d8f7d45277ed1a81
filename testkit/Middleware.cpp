#include "testkit/Middleware.h"

using zelobox::frameOf;

namespace {

void expectTypes(Middleware& middleware, std::vector<int> const& expected)
{
    std::vector<int> const types = middleware.receiveTypes(expected.size());
    if (types != expected) {
        throw zelobox::PeerError("other messages than expected, the first is of type " + std::to_string(types[0]));
    }
}

} // namespace

char const middlewareLanguage[] = "a-language-tag-that-goes-on-and-on";

ConfigPayload configWith(std::string const& language)
{
    ConfigPayload config;
    config.language = language;
    return config;
}

Middleware::Middleware(int backlog) : listener(zelobox::defaultSocketPath, backlog) {}

void Middleware::acceptClient()
{
    connection.emplace(listener.accept());
    expectTypes(*this, {IPC_ALLOWED_MESSAGE_LIST, IPC_CONFIG_REQUEST, IPC_CLIENT_STATE});
}

void Middleware::acceptClientAgain()
{
    connection.emplace(listener.accept());
    expectTypes(*this, {IPC_ALLOWED_MESSAGE_LIST, IPC_ALLOWED_MESSAGE_LIST, IPC_CONFIG_REQUEST, IPC_CLIENT_STATE});
}

void Middleware::configure(ConfigPayload config)
{
    connection->send({IPC_PAYLOAD_RAW, IPC_BROWSER_CONFIG, config.bytes()});
    expectTypes(*this, {IPC_CONFIG_STATE, IPC_VIDEO_WINDOW, IPC_VIDEO_WINDOW_MODE});
}

void Middleware::sendKey(uint32_t value)
{
    connection->send(frameOf(IPCMessageUnsignedInt(IPC_REMOTE_KEY, value)));
}

void Middleware::sendVolume(uint32_t value)
{
    connection->send(frameOf(IPCMessageUnsignedInt(IPC_VOLUME, value)));
}

void Middleware::sendMute(uint32_t value)
{
    connection->send(frameOf(IPCMessageUnsignedInt(IPC_MUTE, value)));
}

void Middleware::sendLifecycle(std::string const& command)
{
    connection->send(frameOf(IPCMessageSimpleString(IPC_APP_LIFECYCLE, command)));
}

std::vector<int> Middleware::receiveTypes(size_t count)
{
    std::vector<int> types;
    while (types.size() < count) {
        types.push_back(connection->receive().type);
    }
    return types;
}
