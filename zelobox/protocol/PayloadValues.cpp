#include "zelobox/protocol/PayloadValues.h"

#include "src/common/ByteReader.h"

namespace zelobox {

namespace {

/// The layout of such a payload follows from its type alone.
bool isRaw(Frame const& frame)
{
    return frame.kind == IPC_PAYLOAD_RAW || frame.kind > IPC_PAYLOAD_STRING_ARRAY;
}

} // namespace

uint32_t numberIn(Frame const& frame)
{
    ByteReader reader(frame.payload);
    switch (frame.kind) {
    case IPC_PAYLOAD_UINT32:
        return reader.u32();
    case IPC_PAYLOAD_UINT64:
        return static_cast<uint32_t>(reader.u64());
    default:
        return 0;
    }
}

std::string textIn(Frame const& frame)
{
    if (frame.kind != IPC_PAYLOAD_STRING) {
        return std::string();
    }
    IPCMessageSimpleString message(static_cast<IPCMessageType>(frame.type));
    message.payload = frame.payload;
    message.unserialize();
    return message.text;
}

VideoWindow videoWindowIn(Frame const& frame)
{
    VideoWindow window;
    if (isRaw(frame)) {
        ByteReader reader(frame.payload);
        window.x = reader.u16();
        window.y = reader.u16();
        window.width = reader.u16();
        window.height = reader.u16();
    }
    return window;
}

std::vector<uint32_t> typesIn(Frame const& frame)
{
    std::vector<uint32_t> types;
    ByteReader reader(frame.payload);
    while (isRaw(frame) && reader.remaining() >= sizeof(uint32_t)) {
        types.push_back(reader.u32());
    }
    return types;
}

} // namespace zelobox
