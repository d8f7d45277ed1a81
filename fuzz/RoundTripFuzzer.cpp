// What was decoded must come back from its own encoding, and encode to the same bytes again.
// Input: kind, type in two bytes, payload.
#include <string.h>

#include <memory>
#include <stdexcept>
#include <tuple>

#include "fuzz/Input.h"
#include "src/ipc/IPCMessage.h"

namespace {

typedef std::unique_ptr<IPCMessage> Message;

Message decode(uint8_t kind, uint16_t type, std::vector<char> payload)
{
    payload.shrink_to_fit();
    return Message(makeReceivedMessage(kind, type, std::move(payload)).release());
}

bool equal(IPCJSPlayerMediaInfo::Stream const& a, IPCJSPlayerMediaInfo::Stream const& b)
{
    return std::tie(a.number1, a.number2, a.number3, a.text1, a.text2) ==
           std::tie(b.number1, b.number2, b.number3, b.text1, b.text2);
}

bool equal(IPCJSPlayerMediaInfo const& a, IPCJSPlayerMediaInfo const& b)
{
    bool same = std::tie(a.name, a.flag, a.value64) == std::tie(b.name, b.flag, b.value64) &&
                a.streams.size() == b.streams.size();
    for (size_t i = 0; same && i < a.streams.size(); ++i) {
        same = equal(a.streams[i], b.streams[i]);
    }
    return same;
}

bool equal(IPCMessagePlayerPlaybackInfo::Record const& a, IPCMessagePlayerPlaybackInfo::Record const& b)
{
    return memcmp(&a, &b, sizeof a) == 0;
}

template <typename T> bool equal(T const& a, T const& b)
{
    return a == b;
}

/// @return true if both are of @p Class and the member is equal, or @p a is of another class
template <typename Class, typename Field> bool agree(IPCMessage const& a, IPCMessage const& b, Field Class::*field)
{
    Class const* const first = dynamic_cast<Class const*>(&a);
    Class const* const second = dynamic_cast<Class const*>(&b);
    return first == nullptr || (second != nullptr && equal(first->*field, second->*field));
}

bool agree(IPCMessage const& a, IPCMessage const& b)
{
    return a.payloadKind == b.payloadKind && a.type == b.type && agree(a, b, &IPCMessageUnsignedInt::value) &&
           agree(a, b, &IPCMessageUnsignedInt64::value) && agree(a, b, &IPCMessageUnsignedIntArray::values) &&
           agree(a, b, &IPCMessageSimpleString::text) && agree(a, b, &IPCMessageStringArray::strings) &&
           agree(a, b, &IPCMessageRecorderStats::value) && agree(a, b, &IPCMessagePlayerPlaybackInfo::record) &&
           agree(a, b, &IPCMessagePlayerMediaInfo::info);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size)
{
    Input input(data, size);
    uint8_t const kind = input.byte();
    uint16_t const type = input.word();
    Message first;
    try {
        first = decode(kind, type, input.bytes());
    } catch (std::out_of_range const&) {
        return 0; // a media info cut short
    }
    first->serialize();
    Message const second = decode(first->headerKind, first->headerType, first->payload);
    if (!agree(*first, *second)) {
        __builtin_trap();
    }
    second->serialize();
    if (first->payload != second->payload) {
        __builtin_trap();
    }
    return 0;
}
