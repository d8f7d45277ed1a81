#include "zelobox/protocol/PayloadLayout.h"

#include <stdexcept>

#include "src/common/ByteReader.h"
#include "src/common/ByteWriter.h"
#include "src/ipc/IPCMessage.h"
#include "zelobox/protocol/BrowserConfigJson.h"
#include "zelobox/protocol/BrowserConfigPayload.h"

namespace zelobox {

namespace {

IPCMessageType const anyType = {}; // a payload does not hold its type
uint64_t const u32Max = UINT32_MAX;

Payload encoded(IPCMessage&& message)
{
    message.serialize();
    return std::move(message.payload);
}

template <typename Message> void decodeInto(Message& message, Payload const& payload)
{
    message.payload = payload;
    message.unserialize();
}

template <typename Message, uint64_t maximum> Layout numberLayout()
{
    return {[](Payload const& payload) {
                Message message(anyType);
                decodeInto(message, payload);
                return Json{{"value", message.value}};
            },
            [](JsonFields& fields, IPCBrowserConfig const&) {
                Message message(anyType);
                message.value = static_cast<decltype(message.value)>(fields.number("value", maximum));
                return encoded(std::move(message));
            }};
}

Json decodeKey(Payload const& payload)
{
    IPCMessageUnsignedInt message(anyType);
    decodeInto(message, payload);
    Json fields = {{"command", message.value & 0xFFFF}, {"modifier", message.value >> 16 & 0xFF}};
    if (message.value >> 24 != 0) {
        fields["rest"] = message.value >> 24;
    }
    return fields;
}

Payload encodeKey(JsonFields& fields, IPCBrowserConfig const&)
{
    uint64_t const rest = fields.number("rest", 0xFF, 0);
    uint64_t const modifier = fields.number("modifier", 0xFF, 0);
    uint64_t const command = fields.number("command", 0xFFFF);
    return encoded(IPCMessageUnsignedInt(anyType, static_cast<uint32_t>(rest << 24 | modifier << 16 | command)));
}

Json decodeNumbers(Payload const& payload)
{
    IPCMessageUnsignedIntArray message(anyType);
    decodeInto(message, payload);
    return {{"values", message.values}};
}

Payload encodeNumbers(JsonFields& fields, IPCBrowserConfig const&)
{
    IPCMessageUnsignedIntArray message(anyType);
    for (uint64_t const value : fields.numbers("values", u32Max)) {
        message.values.push_back(static_cast<uint32_t>(value));
    }
    return encoded(std::move(message));
}

Json decodeText(Payload const& payload)
{
    IPCMessageSimpleString message(anyType);
    decodeInto(message, payload);
    return {{"text", message.text}};
}

Payload encodeText(JsonFields& fields, IPCBrowserConfig const&)
{
    return encoded(IPCMessageSimpleString(anyType, fields.text("text")));
}

Json decodeTexts(Payload const& payload)
{
    IPCMessageStringArray message(anyType);
    decodeInto(message, payload);
    return {{"strings", message.strings}};
}

Payload encodeTexts(JsonFields& fields, IPCBrowserConfig const&)
{
    IPCMessageStringArray message(anyType);
    message.strings = fields.texts("strings");
    return encoded(std::move(message));
}

Json decodeTypes(Payload const& payload)
{
    ByteReader reader(payload);
    Json types = Json::array();
    while (reader.remaining() >= sizeof(uint32_t)) {
        types.push_back(reader.u32());
    }
    return {{"types", types}};
}

Payload encodeTypes(JsonFields& fields, IPCBrowserConfig const&)
{
    Payload payload;
    for (uint64_t const type : fields.numbers("types", u32Max)) {
        ByteWriter(payload).u32(static_cast<uint32_t>(type));
    }
    return payload;
}

Json decodeConfig(Payload const& payload)
{
    IPCBrowserConfig config;
    return config.read(payload) ? jsonOf(config) : Json::object();
}

Payload encodeConfig(JsonFields& fields, IPCBrowserConfig const& base)
{
    IPCBrowserConfig config = base;
    mergeConfig(fields, config);
    return payloadOf(config);
}

char const* const windowFields[] = {"x", "y", "width", "height"};

Json decodeWindow(Payload const& payload)
{
    ByteReader reader(payload);
    Json fields;
    for (char const* const name : windowFields) {
        fields[name] = reader.u16();
    }
    return fields;
}

Payload encodeWindow(JsonFields& fields, IPCBrowserConfig const&)
{
    Payload payload;
    ByteWriter writer(payload);
    for (char const* const name : windowFields) {
        writer.u16(static_cast<uint16_t>(fields.number(name, UINT16_MAX)));
    }
    writer.u8(0);
    return payload;
}

Json decodePlaybackInfo(Payload const& payload)
{
    IPCMessagePlayerPlaybackInfo message;
    decodeInto(message, payload);
    message.serialize();
    return {{"record", hexOf(message.payload)}};
}

Payload encodePlaybackInfo(JsonFields& fields, IPCBrowserConfig const&)
{
    return fields.bytes("record");
}

Json decodeMediaInfo(Payload const& payload)
{
    IPCMessagePlayerMediaInfo message;
    try {
        decodeInto(message, payload);
    } catch (std::out_of_range const&) {
        return Json::object(); // cut short
    }
    Json streams = Json::array();
    for (auto const& stream : message.info.streams) {
        streams.push_back({{"number1", stream.number1},
                           {"number2", stream.number2},
                           {"number3", stream.number3},
                           {"text1", stream.text1},
                           {"text2", stream.text2}});
    }
    return {{"name", message.info.name},
            {"flag", message.info.flag},
            {"value64", message.info.value64},
            {"streams", streams}};
}

IPCJSPlayerMediaInfo::Stream streamFrom(JsonFields fields)
{
    IPCJSPlayerMediaInfo::Stream stream;
    fields.readNumber("number1", stream.number1);
    fields.readNumber("number2", stream.number2);
    fields.readNumber("number3", stream.number3);
    stream.text1 = fields.text("text1", "");
    stream.text2 = fields.text("text2", "");
    fields.end();
    return stream;
}

Payload encodeMediaInfo(JsonFields& fields, IPCBrowserConfig const&)
{
    IPCMessagePlayerMediaInfo message;
    message.info.name = fields.text("name", "");
    message.info.flag = fields.flag("flag", false);
    fields.readNumber("value64", message.info.value64);
    for (Json const& stream : fields.list("streams")) {
        message.info.streams.push_back(streamFrom({stream, fields.where() + ": field \"streams\""}));
    }
    return encoded(std::move(message));
}

Json decodeBytes(Payload const& payload)
{
    return payload.empty() ? Json::object() : Json{{"bytes", hexOf(payload)}};
}

Payload encodeBytes(JsonFields& fields, IPCBrowserConfig const&)
{
    return fields.has("bytes") ? fields.bytes("bytes") : Payload();
}

Layout layoutOfRaw(uint16_t type)
{
    switch (type) {
    case IPC_ALLOWED_MESSAGE_LIST:
        return {decodeTypes, encodeTypes};
    case IPC_BROWSER_CONFIG:
        return {decodeConfig, encodeConfig};
    case IPC_VIDEO_WINDOW:
        return {decodeWindow, encodeWindow};
    case IPC_RECORDER_STATS:
        return numberLayout<IPCMessageRecorderStats, UINT8_MAX>();
    case IPC_PLAYER_PLAYBACK_INFO:
        return {decodePlaybackInfo, encodePlaybackInfo};
    case IPC_PLAYER_MEDIA_INFO:
        return {decodeMediaInfo, encodeMediaInfo};
    default:
        return {decodeBytes, encodeBytes};
    }
}

} // namespace

Layout layoutOf(uint8_t kind, uint16_t type)
{
    switch (kind) {
    case IPC_PAYLOAD_UINT32:
        return type == IPC_REMOTE_KEY ? Layout{decodeKey, encodeKey} : numberLayout<IPCMessageUnsignedInt, u32Max>();
    case IPC_PAYLOAD_UINT64:
        return numberLayout<IPCMessageUnsignedInt64, UINT64_MAX>();
    case IPC_PAYLOAD_UINT32_ARRAY:
        return {decodeNumbers, encodeNumbers};
    case IPC_PAYLOAD_STRING:
        return {decodeText, encodeText};
    case IPC_PAYLOAD_STRING_ARRAY:
        return {decodeTexts, encodeTexts};
    default:
        return layoutOfRaw(type);
    }
}

} // namespace zelobox
