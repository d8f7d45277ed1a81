#include "src/ipc/IPCMessage.h"

#include <algorithm>

#include "src/ipc/IPCText.h"

namespace {

/// @return how many texts of a list are all there
size_t countTexts(ByteReader list)
{
    uint32_t const claimed = list.u32();
    size_t count = 0;
    while (count < claimed) {
        list.skip(count == 0 ? 0 : 1); // the terminator of the text before
        list.skip(list.u32());
        if (list.failed()) {
            break;
        }
        ++count;
    }
    return count;
}

std::unique_ptr<IPCMessage> makeOfType(uint8_t kind, uint16_t type)
{
    switch (type) {
    case IPC_PLAYER_PLAYBACK_INFO:
        return std::unique_ptr<IPCMessage>(new IPCMessagePlayerPlaybackInfo(kind));
    case IPC_PLAYER_MEDIA_INFO:
        return std::unique_ptr<IPCMessage>(new IPCMessagePlayerMediaInfo(kind));
    case IPC_RECORDER_STATS:
        return std::unique_ptr<IPCMessage>(new IPCMessageRecorderStats(kind));
    default:
        return std::unique_ptr<IPCMessage>(new IPCMessage(kind, static_cast<IPCMessageType>(type)));
    }
}

std::unique_ptr<IPCMessage> makeOfKind(uint8_t kind, uint16_t type)
{
    IPCMessageType const messageType = static_cast<IPCMessageType>(type);
    switch (kind) {
    case IPC_PAYLOAD_UINT32:
        return std::unique_ptr<IPCMessage>(new IPCMessageUnsignedInt(messageType));
    case IPC_PAYLOAD_UINT64:
        return std::unique_ptr<IPCMessage>(new IPCMessageUnsignedInt64(messageType));
    case IPC_PAYLOAD_UINT32_ARRAY:
        return std::unique_ptr<IPCMessage>(new IPCMessageUnsignedIntArray(messageType));
    case IPC_PAYLOAD_STRING:
        return std::unique_ptr<IPCMessage>(new IPCMessageSimpleString(messageType));
    case IPC_PAYLOAD_STRING_ARRAY:
        return std::unique_ptr<IPCMessage>(new IPCMessageStringArray(messageType));
    default:
        return makeOfType(kind, type);
    }
}

} // namespace

IPCMessage::IPCMessage(uint32_t kind, IPCMessageType messageType)
    : payloadKind(kind), type(messageType), headerKind(static_cast<uint8_t>(kind)),
      headerType(static_cast<uint16_t>(messageType))
{
}

void IPCMessage::serialize() {}

void IPCMessage::unserialize() {}

IPCMessageUnsignedInt::IPCMessageUnsignedInt(IPCMessageType messageType, uint32_t initial)
    : IPCMessage(IPC_PAYLOAD_UINT32, messageType), value(initial)
{
}

void IPCMessageUnsignedInt::serialize()
{
    std::vector<char> bytes; // swapped in at the end: a message that finds no memory keeps its payload
    bytes.reserve(sizeof value);
    ByteWriter(bytes).u32(value);
    payload.swap(bytes);
}

void IPCMessageUnsignedInt::unserialize()
{
    value = reader().u32();
}

IPCMessageUnsignedInt64::IPCMessageUnsignedInt64(IPCMessageType messageType, uint64_t initial)
    : IPCMessage(IPC_PAYLOAD_UINT64, messageType), value(initial)
{
}

void IPCMessageUnsignedInt64::serialize()
{
    std::vector<char> bytes;
    bytes.reserve(sizeof value);
    ByteWriter(bytes).u64(value);
    payload.swap(bytes);
}

void IPCMessageUnsignedInt64::unserialize()
{
    value = reader().u64();
}

IPCMessageUnsignedIntArray::IPCMessageUnsignedIntArray(IPCMessageType messageType)
    : IPCMessage(IPC_PAYLOAD_UINT32_ARRAY, messageType)
{
}

void IPCMessageUnsignedIntArray::serialize()
{
    std::vector<char> bytes;
    bytes.reserve(sizeof(uint32_t) * (values.size() + 1));
    ByteWriter writer(bytes);
    writer.u32(static_cast<uint32_t>(values.size()));
    for (uint32_t const element : values) {
        writer.u32(element);
    }
    payload.swap(bytes);
}

void IPCMessageUnsignedIntArray::unserialize()
{
    values.clear();
    ByteReader fields = reader();
    // The count may lie; what is there decides how much is read and reserved.
    uint32_t const claimed = fields.u32();
    std::vector<uint32_t> received(std::min<size_t>(claimed, fields.remaining() / sizeof(uint32_t)));
    for (size_t i = 0; i < received.size() && !fields.failed(); ++i) {
        received[i] = fields.u32();
    }
    values.swap(received);
}

IPCMessageSimpleString::IPCMessageSimpleString(IPCMessageType messageType, std::string const& initial)
    : IPCMessage(IPC_PAYLOAD_STRING, messageType), text(initial)
{
}

void IPCMessageSimpleString::serialize()
{
    std::vector<char> bytes;
    bytes.reserve(text.size() + 5);
    ByteWriter writer(bytes);
    writeText(writer, text);
    payload.swap(bytes);
}

void IPCMessageSimpleString::unserialize()
{
    ByteReader fields = reader();
    std::string received = readText(fields);
    if (!fields.failed()) { // a part of a command could be another command
        text.swap(received);
    }
}

IPCMessageStringArray::IPCMessageStringArray(IPCMessageType messageType)
    : IPCMessage(IPC_PAYLOAD_STRING_ARRAY, messageType)
{
}

void IPCMessageStringArray::serialize()
{
    std::vector<char> bytes;
    ByteWriter writer(bytes);
    writer.u32(static_cast<uint32_t>(strings.size()));
    for (std::string const& element : strings) {
        writeText(writer, element);
    }
    payload.swap(bytes);
}

void IPCMessageStringArray::unserialize()
{
    strings.clear();
    // Counted first, so that the list needs the memory of its elements and no more: a text of five bytes here is an
    // object there, and a list that grows by doubling has two of each for a while.
    std::vector<std::string> received(countTexts(reader()));
    ByteReader fields = reader();
    fields.skip(sizeof(uint32_t));
    for (size_t i = 0; i < received.size() && !fields.failed(); ++i) {
        fields.skip(i == 0 ? 0 : 1); // the terminator of the text before
        readText(fields).swap(received[i]);
    }
    strings.swap(received);
}

IPCMessageAllowedMessageList::IPCMessageAllowedMessageList(std::set<IPCMessageType> const& initial)
    : IPCMessage(IPC_PAYLOAD_RAW, IPC_ALLOWED_MESSAGE_LIST), types(initial)
{
}

void IPCMessageAllowedMessageList::serialize()
{
    std::vector<char> bytes;
    bytes.reserve(sizeof(uint32_t) * types.size());
    ByteWriter writer(bytes);
    for (IPCMessageType const element : types) {
        writer.u32(element);
    }
    payload.swap(bytes);
}

std::auto_ptr<IPCMessage> makeReceivedMessage(uint8_t kind, uint16_t type, std::vector<char>&& payload,
                                              std::atomic<bool> const* abandoned)
{
    std::unique_ptr<IPCMessage> message = makeOfKind(kind, type);
    message->abandoned = abandoned;
    message->payload = std::move(payload);
    message->unserialize();
    return std::auto_ptr<IPCMessage>(message.release());
}
