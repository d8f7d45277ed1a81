#include "testkit/Middleware.h"

#include "src/ipc/IPCMessage.h"

using zelobox::frameOf;

char const middlewareLanguage[] = "a-language-tag-that-goes-on-and-on";

ConfigPayload configWith(std::string const& language)
{
    ConfigPayload config;
    config.language = language;
    return config;
}

zelobox::Frame const allowedList = frameOf(IPCMessageAllowedMessageList(
    {IPC_UNHANDLED_8, IPC_BROWSER_CONFIG, IPC_UNHANDLED_25, IPC_REMOTE_KEY, IPC_UNHANDLED_27, IPC_UNHANDLED_36,
     IPC_VOLUME, IPC_UNHANDLED_42, IPC_APP_LIFECYCLE, IPC_MUTE}));
zelobox::Frame const configRequest = {IPC_PAYLOAD_RAW, IPC_CONFIG_REQUEST, {}};
zelobox::Frame const clientState = {IPC_PAYLOAD_UINT32, IPC_CLIENT_STATE, {0, 0, 0, 2}};
zelobox::Frame const configState = {IPC_PAYLOAD_UINT32, IPC_CONFIG_STATE, {0, 0, 0, 2}};
zelobox::Frame const fullScreen = {IPC_PAYLOAD_RAW, IPC_VIDEO_WINDOW, std::vector<char>(9)};
zelobox::Frame const boxMode = {IPC_PAYLOAD_STRING, IPC_VIDEO_WINDOW_MODE, {0, 0, 0, 3, 'b', 'o', 'x', 0}};

Middleware::Middleware(int backlog) : listener(zelobox::defaultSocketPath, backlog) {}

void Middleware::accept(Milliseconds deadline)
{
    connection.emplace(listener.accept(deadline));
}

void Middleware::acceptClient(Milliseconds deadline)
{
    accept(deadline);
    expectTypes({IPC_ALLOWED_MESSAGE_LIST, IPC_CONFIG_REQUEST, IPC_CLIENT_STATE});
}

void Middleware::acceptClientAgain()
{
    accept();
    expectTypes({IPC_ALLOWED_MESSAGE_LIST, IPC_ALLOWED_MESSAGE_LIST, IPC_CONFIG_REQUEST, IPC_CLIENT_STATE});
}

void Middleware::configure(ConfigPayload const& config)
{
    send({IPC_PAYLOAD_RAW, IPC_BROWSER_CONFIG, config.bytes()});
    expectTypes({IPC_CONFIG_STATE, IPC_VIDEO_WINDOW, IPC_VIDEO_WINDOW_MODE});
}

void Middleware::sendKey(uint32_t value)
{
    send(frameOf(IPCMessageUnsignedInt(IPC_REMOTE_KEY, value)));
}

void Middleware::sendVolume(uint32_t value)
{
    send(frameOf(IPCMessageUnsignedInt(IPC_VOLUME, value)));
}

void Middleware::sendMute(uint32_t value)
{
    send(frameOf(IPCMessageUnsignedInt(IPC_MUTE, value)));
}

void Middleware::sendLifecycle(std::string const& command)
{
    send(frameOf(IPCMessageSimpleString(IPC_APP_LIFECYCLE, command)));
}

std::vector<int> Middleware::receiveTypes(size_t count)
{
    std::vector<int> types;
    while (types.size() < count) {
        types.push_back(receive().type);
    }
    return types;
}

void Middleware::expectTypes(std::vector<int> const& expected)
{
    std::vector<int> const types = receiveTypes(expected.size());
    if (types != expected) {
        throw zelobox::PeerError("other messages than expected, the first is of type " + std::to_string(types[0]));
    }
}
