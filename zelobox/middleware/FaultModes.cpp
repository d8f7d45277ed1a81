#include "zelobox/middleware/FaultModes.h"

#include <algorithm>

#include "src/ipc/IPCFrame.h"
#include "zelobox/protocol/BrowserConfigJson.h"
#include "zelobox/protocol/BrowserConfigPayload.h"

namespace zelobox {

namespace {

unsigned const tiredAfter = 60;
uint8_t const unknownKind = 200;
size_t const displayOffset = 7; // in the configuration

std::vector<char> headerAnd(IPCFrameHeader const& header, std::vector<char> const& payload)
{
    std::vector<char> bytes(IPCFrameHeader::Size);
    writeFrameHeader(header, bytes.data());
    bytes.insert(bytes.end(), payload.begin(), payload.end());
    return bytes;
}

template <typename Predicate> FaultModeInfo const* findIf(Predicate predicate)
{
    auto const& table = faultModeTable();
    auto const found = std::find_if(table.begin(), table.end(), predicate);
    return found != table.end() ? &*found : nullptr;
}

} // namespace

std::vector<FaultModeInfo> const& faultModeTable()
{
    using M = FaultMode;
    bool const once = false;
    bool const lasts = true;
    static std::vector<FaultModeInfo> const table = {
        {M::None, "none", once, "ends all that last"},
        {M::Drop, "drop", once, "closes the connection"},
        {M::Garbage, "garbage", once, "sends bytes that are no frame"},
        {M::Lie, "lie", once, "sends a header with a length of 1000 and 4 bytes"},
        {M::LieHugely, "lie-hugely", once, "sends a header with a length of 4 GiB less 1 and 4 bytes"},
        {M::LieInside, "lie-inside", once,
         "sends, to who has subscribed, a life cycle text that claims to be longer than its frame"},
        {M::Stall, "stall", lasts, "neither reads nor sends"},
        {M::Slow, "slow", lasts, "sends a byte every 5 ms"},
        {M::Split, "split", lasts, "sends every byte in a write of its own"},
        {M::Silent, "silent", lasts, "answers no configuration request"},
        {M::AnswerOnce, "answer-once", lasts, "answers a connection's first configuration request only"},
        {M::CutConfig, "cut-config", lasts, "sends the first half of the configuration as if it were all"},
        {M::WrongKind, "wrong-kind", lasts, "sends the configuration with the payload kind 200"},
        {M::NoDisplay, "no-display", lasts, "sends a display size of 0 by 0"},
        {M::CutSecondConfig, "cut-second-config", lasts, "cuts all but a connection's first configuration short"},
        {M::SwapSizes, "swap-sizes", lasts, "sends the display size in little-endian"},
        {M::IgnoreAllowedList, "ignore-allowed-list", lasts, "sends what nobody has subscribed to"},
        {M::RefuseRepeatedList, "refuse-repeated-list", lasts, "drops a client that subscribes twice"},
        {M::RefuseUnknown, "refuse-unknown", lasts, "drops a client that sends a type it does not know"},
        {M::RefuseSplit, "refuse-split", lasts, "drops a client whose frame does not come at once"},
        {M::SingleClient, "single-client", lasts, "closes a second connection at once"},
        {M::BlockOnWrite, "block-on-write", lasts, "waits, up to 10 s, for a client that does not read"},
        {M::Tire, "tire", lasts, "closes every connection after the 60th at once"},
        {M::DieOnVanish, "die-on-vanish", lasts, "ends when a client goes in the middle of a frame"},
        {M::DieOnGarbage, "die-on-garbage", lasts, "ends when a client sends what is no frame"},
        {M::DieOnLie, "die-on-lie", lasts, "ends when a client announces a frame of more than 16 MiB"},
    };
    return table;
}

FaultModeInfo const& infoOf(FaultMode what)
{
    return *findIf([what](FaultModeInfo const& info) { return info.what == what; });
}

FaultModeInfo const* findFaultMode(std::string const& name)
{
    return findIf([&name](FaultModeInfo const& info) { return info.name == name; });
}

std::string faultModeNames()
{
    std::string names;
    for (FaultModeInfo const& info : faultModeTable()) {
        names += std::string(names.empty() ? "" : ", ") + info.name;
    }
    return names;
}

Server::Faults serverFaultsOf(FaultModes const& all)
{
    auto const has = [&all](FaultMode what) { return all.count(what) != 0; };
    Server::Faults faults;
    faults.stalls = has(FaultMode::Stall);
    faults.isSlow = has(FaultMode::Slow);
    faults.splits = has(FaultMode::Split);
    faults.wantsWholeFrames = has(FaultMode::RefuseSplit);
    faults.blocks = has(FaultMode::BlockOnWrite);
    faults.diesOnVanish = has(FaultMode::DieOnVanish);
    faults.diesOnGarbage = has(FaultMode::DieOnGarbage);
    faults.diesOnLie = has(FaultMode::DieOnLie);
    if (has(FaultMode::SingleClient)) {
        faults.mostClients = 1;
    }
    if (has(FaultMode::Tire)) {
        faults.lastClient = tiredAfter;
    }
    return faults;
}

std::vector<char> wrongBytesOf(FaultMode what)
{
    std::vector<char> const number = {0, 0, 0, 1};
    switch (what) {
    case FaultMode::Lie:
        return headerAnd({IPC_PAYLOAD_UINT32, IPC_VOLUME, 1000}, number);
    case FaultMode::LieHugely:
        return headerAnd({IPC_PAYLOAD_UINT32, IPC_VOLUME, UINT32_MAX}, number);
    case FaultMode::LieInside: {
        std::vector<char> const text = {0, 0, 0, 100, 'o', 'n', 'p', 'a', 'u', 's', 'e', 0};
        return headerAnd({IPC_PAYLOAD_STRING, IPC_APP_LIFECYCLE, static_cast<uint32_t>(text.size())}, text);
    }
    default:
        return {'n', 'o', ' ', 'f', 'r', 'a', 'm', 'e', '\0', '\xFF'};
    }
}

void spoilConfig(FaultModes const& all, bool isFirst, Frame& message)
{
    if (all.count(FaultMode::NoDisplay) != 0) {
        IPCBrowserConfig config;
        config.read(message.payload);
        config.displayWidth = 0;
        config.displayHeight = 0;
        message.payload = payloadOf(config);
    }
    if (all.count(FaultMode::SwapSizes) != 0) {
        std::swap(message.payload[displayOffset], message.payload[displayOffset + 1]);
        std::swap(message.payload[displayOffset + 2], message.payload[displayOffset + 3]);
    }
    bool const isCut = !isFirst && all.count(FaultMode::CutSecondConfig) != 0;
    if (isCut || all.count(FaultMode::CutConfig) != 0) {
        message.payload.resize(message.payload.size() / 2);
    }
    if (all.count(FaultMode::WrongKind) != 0) {
        message.kind = unknownKind;
    }
}

} // namespace zelobox
