#include "zelobox/protocol/FrameJson.h"

#include "zelobox/protocol/BrowserConfigJson.h"
#include "zelobox/protocol/KeyNames.h"
#include "zelobox/protocol/MessageTable.h"
#include "zelobox/protocol/PayloadLayout.h"

namespace zelobox {

namespace {

uint16_t typeFrom(JsonFields& fields)
{
    Json const& value = fields.value("frame");
    if (value.is_number_unsigned()) {
        return static_cast<uint16_t>(fields.number("frame", UINT16_MAX));
    }
    MessageInfo const* const info = findMessage(fields.text("frame"));
    if (info == nullptr) {
        fields.fail("frame", lineOf(value) + " is no message; expected a number or a name like \"IPC_VOLUME\"");
    }
    return static_cast<uint16_t>(info->type);
}

uint8_t kindFrom(JsonFields& fields, uint16_t type)
{
    MessageInfo const* const info = findMessage(type);
    uint64_t const usual = info != nullptr ? info->kind : IPC_PAYLOAD_RAW;
    return static_cast<uint8_t>(fields.number("kind", UINT8_MAX, usual));
}

/// @return whether @p decoded encodes to the payload that it was decoded from
bool isExact(Layout const& layout, Json const& decoded, Payload const& payload)
{
    JsonFields fields(decoded, "frame");
    return layout.encode(fields, defaultConfig()) == payload;
}

} // namespace

Json fieldsOf(Frame const& frame)
{
    Layout const layout = layoutOf(frame.kind, frame.type);
    Json fields = layout.decode(frame.payload);
    if (!isExact(layout, fields, frame.payload)) {
        fields["inexact"] = true;
        fields["bytes"] = hexOf(frame.payload);
    }
    return fields;
}

Frame frameFrom(JsonFields& fields, IPCBrowserConfig const& base)
{
    uint16_t const type = typeFrom(fields);
    uint8_t const kind = kindFrom(fields, type);
    if (fields.has("bytes")) {
        return {kind, type, fields.bytes("bytes")};
    }
    return {kind, type, layoutOf(kind, type).encode(fields, base)};
}

std::string textOf(Frame const& frame)
{
    return textOf(frame, fieldsOf(frame));
}

std::string textOf(Frame const& frame, Json const& fields)
{
    std::string text = messageName(frame.type);
    text += (fields.empty() ? "" : " ") + fieldsText(fields);
    if (frame.type == IPC_REMOTE_KEY && fields.contains("command")) {
        text += " (" + keyNameOf(fields["command"].get<uint32_t>()) + ")";
    }
    return text;
}

} // namespace zelobox
