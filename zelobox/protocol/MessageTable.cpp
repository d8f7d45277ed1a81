#include "zelobox/protocol/MessageTable.h"

#include <algorithm>

namespace zelobox {

namespace {

template <typename Predicate> MessageInfo const* findIf(Predicate predicate)
{
    auto const& table = messageTable();
    auto const found = std::find_if(table.begin(), table.end(), predicate);
    return found != table.end() ? &*found : nullptr;
}

} // namespace

std::vector<MessageInfo> const& messageTable()
{
    bool const toHost = true;
    bool const toMiddleware = false;
    static std::vector<MessageInfo> const table = {
        {IPC_ALLOWED_MESSAGE_LIST, "IPC_ALLOWED_MESSAGE_LIST", IPC_PAYLOAD_RAW, toMiddleware},
        {IPC_UNHANDLED_8, "IPC_UNHANDLED_8", IPC_PAYLOAD_RAW, toHost},
        {IPC_RECORDER_STATS, "IPC_RECORDER_STATS", IPC_PAYLOAD_RAW, toHost},
        {IPC_CONFIG_REQUEST, "IPC_CONFIG_REQUEST", IPC_PAYLOAD_RAW, toMiddleware},
        {IPC_BROWSER_CONFIG, "IPC_BROWSER_CONFIG", IPC_PAYLOAD_RAW, toHost},
        {IPC_UNHANDLED_25, "IPC_UNHANDLED_25", IPC_PAYLOAD_RAW, toHost},
        {IPC_REMOTE_KEY, "IPC_REMOTE_KEY", IPC_PAYLOAD_UINT32, toHost},
        {IPC_UNHANDLED_27, "IPC_UNHANDLED_27", IPC_PAYLOAD_RAW, toHost},
        {IPC_VIDEO_WINDOW, "IPC_VIDEO_WINDOW", IPC_PAYLOAD_RAW, toMiddleware},
        {IPC_PLAYER_PLAYBACK_INFO, "IPC_PLAYER_PLAYBACK_INFO", IPC_PAYLOAD_RAW, toHost},
        {IPC_PREVIOUS_CONTROLLER, "IPC_PREVIOUS_CONTROLLER", IPC_PAYLOAD_UINT32, toMiddleware},
        {IPC_UNHANDLED_36, "IPC_UNHANDLED_36", IPC_PAYLOAD_RAW, toHost},
        {IPC_CLIENT_STATE, "IPC_CLIENT_STATE", IPC_PAYLOAD_UINT32, toMiddleware},
        {IPC_CONFIG_STATE, "IPC_CONFIG_STATE", IPC_PAYLOAD_UINT32, toMiddleware},
        {IPC_VOLUME, "IPC_VOLUME", IPC_PAYLOAD_UINT32, toHost},
        {IPC_PLAYER_MEDIA_INFO, "IPC_PLAYER_MEDIA_INFO", IPC_PAYLOAD_RAW, toHost},
        {IPC_UNHANDLED_42, "IPC_UNHANDLED_42", IPC_PAYLOAD_RAW, toHost},
        {IPC_VIDEO_WINDOW_MODE, "IPC_VIDEO_WINDOW_MODE", IPC_PAYLOAD_STRING, toMiddleware},
        {IPC_APP_LIFECYCLE, "IPC_APP_LIFECYCLE", IPC_PAYLOAD_STRING, toHost},
        {IPC_MUTE, "IPC_MUTE", IPC_PAYLOAD_UINT32, toHost},
    };
    return table;
}

MessageInfo const* findMessage(uint16_t type)
{
    return findIf([type](MessageInfo const& info) { return info.type == type; });
}

MessageInfo const* findMessage(std::string const& name)
{
    return findIf([&name](MessageInfo const& info) { return info.name == name; });
}

std::string messageName(uint16_t type)
{
    MessageInfo const* const info = findMessage(type);
    return info != nullptr ? info->name : "type " + std::to_string(type);
}

} // namespace zelobox
