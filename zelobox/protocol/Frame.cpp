#include "zelobox/protocol/Frame.h"

#include "src/ipc/IPCFrame.h"

namespace zelobox {

Frame frameOf(IPCMessage&& message)
{
    message.serialize();
    return {message.headerKind, message.headerType, std::move(message.payload)};
}

std::vector<char> bytesOf(Frame const& frame)
{
    std::vector<char> bytes(IPCFrameHeader::Size);
    writeFrameHeader({frame.kind, frame.type, static_cast<uint32_t>(frame.payload.size())}, bytes.data());
    bytes.insert(bytes.end(), frame.payload.begin(), frame.payload.end());
    return bytes;
}

} // namespace zelobox
