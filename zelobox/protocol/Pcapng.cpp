#include "zelobox/protocol/Pcapng.h"

#include "src/common/ByteReader.h"
#include "src/common/ByteWriter.h"
#include "zelobox/protocol/FrameReader.h"
#include "zelobox/protocol/PcapngBlocks.h"

namespace zelobox {

namespace {

using Bytes = std::vector<char>;
using Event = TraceRecord::Event;

Bytes bytesOfText(std::string const& text)
{
    return {text.begin(), text.end()};
}

/// What stands in a packet behind the pseudo header.
Bytes contentsOf(TraceRecord const& record)
{
    switch (record.event) {
    case Event::Frame:
        return bytesOf(record.frame);
    case Event::Raw:
        return record.bytes;
    case Event::Disconnected:
        return bytesOfText(record.reason);
    case Event::Connected:
        break;
    }
    return {};
}

bool hasDirection(Event event)
{
    return event == Event::Frame || event == Event::Raw;
}

uint8_t numberOf(Event event)
{
    switch (event) {
    case Event::Frame:
        return 0;
    case Event::Connected:
        return 1;
    case Event::Disconnected:
        return 2;
    case Event::Raw:
        break;
    }
    return 3;
}

Event eventFrom(uint8_t number)
{
    static Event const events[] = {Event::Frame, Event::Connected, Event::Disconnected, Event::Raw};
    if (number > 3) {
        throw InputError("the packet has the unknown event " + std::to_string(number));
    }
    return events[number];
}

Frame frameFrom(Bytes const& bytes)
{
    std::optional<Frame> frame = frameFromBytes(bytes);
    if (!frame) {
        throw InputError("the packet is not one whole frame");
    }
    return std::move(*frame);
}

TraceRecord recordFrom(CapturedPacket const& packet)
{
    ByteReader reader(packet.data.data(), packet.data.size());
    uint8_t const version = reader.u8();
    uint8_t const event = reader.u8();
    uint8_t const direction = reader.u8();
    reader.skip(1);
    TraceRecord record;
    record.connection = reader.u32();
    if (reader.failed() || version != pcapngPseudoHeaderVersion) {
        throw InputError("the packet does not begin with the header that docs/protocol.md describes");
    }
    record.time = packet.time;
    record.event = eventFrom(event);
    record.direction = direction == 0 ? Direction::ToHost : Direction::ToMiddleware;
    std::string const contents = reader.text(reader.remaining());
    if (record.event == Event::Frame) {
        record.frame = frameFrom(bytesOfText(contents));
    } else if (record.event == Event::Raw) {
        record.bytes = bytesOfText(contents);
    } else {
        record.reason = contents;
    }
    return record;
}

} // namespace

std::string pcapngHead()
{
    return sectionBlock("zelobox") + interfaceBlock("zelo_messenger", pcapngLinkType);
}

std::string pcapngPacket(TraceRecord const& record)
{
    bool const toHost = record.direction == Direction::ToHost;
    Bytes data;
    ByteWriter writer(data);
    writer.u8(pcapngPseudoHeaderVersion);
    writer.u8(numberOf(record.event));
    writer.u8(hasDirection(record.event) && !toHost ? 1 : 0);
    writer.u8(0);
    writer.u32(record.connection);
    Bytes const contents = contentsOf(record);
    writer.raw(contents.data(), contents.size());
    PacketWay way = toHost ? PacketWay::Inbound : PacketWay::Outbound;
    if (!hasDirection(record.event)) {
        way = PacketWay::Unknown;
    }
    return packetBlock({record.time, {data.begin(), data.end()}}, way);
}

std::optional<TraceRecord> PacketRecords::next(bool atEnd)
{
    while (std::optional<CapturedPacket> const packet = reader.next(atEnd)) {
        try {
            return recordFrom(*packet);
        } catch (InputError const& error) {
            reader.report(error.what());
        }
    }
    return std::nullopt;
}

} // namespace zelobox
