#include "zelobox/protocol/PcapngBlocks.h"

#include <stdexcept>

#include "src/common/ByteReader.h"
#include "src/common/ByteWriter.h"

namespace zelobox {

namespace {

using Bytes = std::vector<char>;

enum BlockType : uint32_t {
    SectionHeader = 0x0A0D0D0A, // the same in either byte order
    InterfaceDescription = 1,
    SimplePacket = 3,
    EnhancedPacket = 6,
};

enum Option : uint16_t {
    EndOfOptions = 0,
    PacketFlags = 2,
    InterfaceName = 2,
    SectionApplication = 4,
    TimeResolution = 9,
    TimeOffset = 14,
};

uint32_t const byteOrderMagic = 0x1A2B3C4D;
size_t const smallestBlock = 12;
uint64_t const microsecondsPerSecond = 1000000;

size_t const longestBlock = size_t{256} << 20;

uint32_t const classicMagic = 0xA1B2C3D4;
uint32_t const classicNanosecondMagic = 0xA1B23C4D;
size_t const classicHeader = 24;
size_t const classicLinkType = 20;
size_t const classicRecord = 16; // before its packet

/// @return the ticks of a second, 0 if no classic file begins so
uint64_t classicTicks(uint32_t magic)
{
    if (magic == classicMagic || __builtin_bswap32(magic) == classicMagic) {
        return microsecondsPerSecond;
    }
    bool const isNanosecond = magic == classicNanosecondMagic || __builtin_bswap32(magic) == classicNanosecondMagic;
    return isNanosecond ? 1000 * microsecondsPerSecond : 0;
}

/// @return 0 for what is no decimal part down to nanoseconds
uint64_t ticksOf(std::string const& resolution)
{
    if (resolution.size() != 1 || static_cast<unsigned char>(resolution[0]) > 9) {
        return 0;
    }
    uint64_t ticks = 1;
    for (int i = 0; i < resolution[0]; ++i) {
        ticks *= 10;
    }
    return ticks;
}

std::string foreignLink(uint32_t found, uint16_t wanted)
{
    return "the link type is " + std::to_string(found) + ", expected " + std::to_string(wanted) +
           "; is it a capture of something else?";
}

size_t paddingOf(size_t size)
{
    return (4 - size % 4) % 4;
}

void writePadded(ByteWriter& writer, std::string const& bytes)
{
    writer.raw(bytes.data(), bytes.size());
    writer.raw("\0\0\0", paddingOf(bytes.size()));
}

void writeOption(ByteWriter& writer, Option code, std::string const& value)
{
    writer.u16(code);
    writer.u16(static_cast<uint16_t>(value.size()));
    writePadded(writer, value);
}

std::string blockOf(BlockType type, Bytes const& body)
{
    Bytes block;
    ByteWriter writer(block);
    auto const length = static_cast<uint32_t>(smallestBlock + body.size());
    writer.u32(type);
    writer.u32(length);
    writer.raw(body.data(), body.size());
    writer.u32(length);
    return {block.begin(), block.end()};
}

} // namespace

std::string sectionBlock(std::string const& application)
{
    Bytes body;
    ByteWriter writer(body);
    writer.u32(byteOrderMagic);
    writer.u16(1);
    writer.u16(0);
    writer.u64(UINT64_MAX); // as long as it gets
    writeOption(writer, SectionApplication, application);
    writeOption(writer, EndOfOptions, "");
    return blockOf(SectionHeader, body);
}

std::string interfaceBlock(std::string const& name, uint16_t linkType)
{
    Bytes body;
    ByteWriter writer(body);
    writer.u16(linkType);
    writer.u16(0);
    writer.u32(0); // packets of any length
    writeOption(writer, InterfaceName, name);
    writeOption(writer, TimeResolution, "\x06");
    writeOption(writer, EndOfOptions, "");
    return blockOf(InterfaceDescription, body);
}

std::string packetBlock(CapturedPacket const& packet, PacketWay way)
{
    Bytes body;
    ByteWriter writer(body);
    auto const size = static_cast<uint32_t>(packet.data.size());
    writer.u32(0); // the first interface
    writer.u64(static_cast<uint64_t>(packet.time));
    writer.u32(size);
    writer.u32(size);
    writePadded(writer, packet.data);
    writeOption(writer, PacketFlags, std::string(3, '\0') + static_cast<char>(way));
    writeOption(writer, EndOfOptions, "");
    return blockOf(EnhancedPacket, body);
}

bool isPcapng(std::string const& start)
{
    return start.compare(0, 4, "\x0A\x0D\x0D\x0A") == 0;
}

bool isClassicPcap(std::string const& start)
{
    return start.size() >= 4 && classicTicks(ByteReader(start.data(), 4).u32()) != 0;
}

class PacketReader::Fields {
public:
    Fields(char const* bytes, size_t size, bool isSwapped) : reader(bytes, size), swapped(isSwapped) {}

    uint16_t u16() { return swapped ? __builtin_bswap16(reader.u16()) : reader.u16(); }
    uint32_t u32() { return swapped ? __builtin_bswap32(reader.u32()) : reader.u32(); }
    std::string text(size_t size) { return reader.text(size); }
    void skip(size_t size) { reader.skip(size); }
    bool failed() { return reader.failed(); }
    bool empty() const { return reader.remaining() == 0; }

private:
    ByteReader reader;
    bool const swapped;
};

class PacketReader::Wrong : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

void PacketReader::append(char const* bytes, size_t size)
{
    buffer.erase(0, end);
    base += end;
    offset = end = 0;
    buffer.append(bytes, size);
}

std::optional<CapturedPacket> PacketReader::next(bool atEnd)
{
    if (!isBegun && !begin(atEnd)) {
        return std::nullopt;
    }
    while (left() > 0) {
        offset = end;
        size_t const before = end;
        try {
            std::optional<CapturedPacket> packet = isClassic ? nextRecord(atEnd) : nextBlock(atEnd);
            if (packet) {
                return packet;
            }
        } catch (Wrong const& wrong) {
            report(wrong.what());
        }
        if (end == before) {
            return std::nullopt;
        }
    }
    return std::nullopt;
}

/// @return false when more bytes are needed
bool PacketReader::begin(bool atEnd)
{
    if (left() < 4 && !atEnd) {
        return false;
    }
    isClassic = isClassicPcap(buffer);
    isBegun = !isClassic || beginClassic(atEnd);
    return isBegun;
}

bool PacketReader::beginClassic(bool atEnd)
{
    if (waitsFor(classicHeader, atEnd)) {
        return false;
    }
    uint32_t const magic = ByteReader(buffer.data(), 4).u32();
    swapped = magic != classicMagic && magic != classicNanosecondMagic;
    Fields fields(buffer.data() + classicLinkType, 4, swapped);
    uint32_t const found = fields.u32() & UINT16_MAX;
    interfaces = {{found == linkType, classicTicks(magic)}};
    if (!interfaces[0].isWanted) {
        report(foreignLink(found, linkType));
    }
    end = classicHeader;
    return true;
}

/// At the end of a file that lacks them it goes to that end. @return true as long as more bytes are needed
bool PacketReader::waitsFor(size_t size, bool atEnd)
{
    if (left() >= size) {
        return false;
    }
    if (atEnd) {
        end = buffer.size();
        throw Wrong("the file is cut short");
    }
    return true;
}

std::optional<CapturedPacket> PacketReader::nextRecord(bool atEnd)
{
    if (waitsFor(classicRecord, atEnd)) {
        return std::nullopt;
    }
    Fields head(buffer.data() + end, classicRecord, swapped);
    uint64_t const seconds = head.u32();
    uint64_t const ticks = head.u32();
    uint32_t const captured = head.u32();
    uint32_t const original = head.u32();
    if (captured > longestBlock) {
        end = buffer.size();
        throw Wrong("no packet has the length " + std::to_string(captured) +
                    "; nothing tells where the next one begins");
    }
    if (waitsFor(classicRecord + captured, atEnd)) {
        return std::nullopt;
    }
    CapturedPacket packet;
    packet.data = buffer.substr(end + classicRecord, captured);
    packet.time = static_cast<int64_t>(seconds * microsecondsPerSecond +
                                       ticks * microsecondsPerSecond / interfaces[0].ticksPerSecond);
    end += classicRecord + captured;
    if (captured != original) {
        throw Wrong("the packet is cut short");
    }
    return interfaces[0].isWanted ? std::optional(packet) : std::nullopt;
}

std::optional<CapturedPacket> PacketReader::nextBlock(bool atEnd)
{
    if (isLost && !findBlock(atEnd)) {
        return std::nullopt;
    }
    if (waitsFor(smallestBlock, atEnd)) {
        return std::nullopt;
    }
    Block const block = blockAt(end);
    if (block.length < smallestBlock || block.length % 4 != 0 || block.length > longestBlock) {
        isLost = true;
        end += 4;
        throw Wrong("no block has the length " + std::to_string(block.length));
    }
    if (block.length > left()) {
        if (!atEnd) {
            return std::nullopt;
        }
        isLost = true; // it may have a length that lies, and be followed by others
        end += 4;
        throw Wrong("the file is cut short");
    }
    end += block.length;
    return carryOut(block);
}

/// Goes to the next bytes that look like a block. @return false when there are none so far
bool PacketReader::findBlock(bool atEnd)
{
    for (; left() >= smallestBlock; end += 4) {
        Fields head(buffer.data() + end, 8, swapped);
        uint32_t const type = head.u32();
        size_t const length = head.u32();
        bool const isKnown = type == SectionHeader || type == InterfaceDescription || type == EnhancedPacket;
        if (!isKnown || length < smallestBlock || length % 4 != 0 || length > longestBlock) {
            continue;
        }
        if (length > left()) {
            if (!atEnd) {
                return false;
            }
            continue;
        }
        if (Fields(buffer.data() + end + length - 4, 4, swapped).u32() == length) {
            isLost = false;
            offset = end;
            return true;
        }
    }
    if (atEnd) {
        end = buffer.size();
    }
    return false;
}

PacketReader::Block PacketReader::blockAt(size_t position)
{
    char const* const begin = buffer.data() + position;
    if (Fields(begin, 4, false).u32() == SectionHeader) {
        uint32_t const magic = Fields(begin + 8, 4, false).u32();
        bool const isSwapped = magic != byteOrderMagic;
        if (isSwapped && __builtin_bswap32(magic) != byteOrderMagic) {
            isLost = true;
            end += 4;
            throw Wrong("the section has no byte order");
        }
        swapped = isSwapped;
    }
    Fields head(begin, 8, swapped);
    uint32_t const type = head.u32();
    return {type, head.u32()};
}

std::optional<CapturedPacket> PacketReader::carryOut(Block const& block)
{
    Fields fields(buffer.data() + offset + 8, block.length - smallestBlock, swapped);
    switch (block.type) {
    case SectionHeader:
        interfaces.clear();
        break;
    case InterfaceDescription:
        interfaces.emplace_back();
        readInterface(fields);
        break;
    case EnhancedPacket: {
        CapturedPacket packet = readPacket(fields);
        return packet.data.empty() ? std::nullopt : std::optional(packet);
    }
    case SimplePacket:
        throw Wrong("a packet without a time");
    default:
        break;
    }
    return std::nullopt;
}

/// Packets of an interface that is not understood are passed over, so that this is said once.
void PacketReader::readInterface(Fields& fields)
{
    uint16_t const found = fields.u16();
    if (found != linkType) {
        throw Wrong(foreignLink(found, linkType));
    }
    fields.skip(6);
    uint64_t ticks = microsecondsPerSecond;
    while (!fields.empty() && !fields.failed()) {
        uint16_t const code = fields.u16();
        uint16_t const size = fields.u16();
        std::string const value = fields.text(size);
        fields.skip(paddingOf(size));
        if (code == TimeResolution) {
            ticks = ticksOf(value);
            if (ticks == 0) {
                throw Wrong("times are neither in seconds nor in one of their decimal parts down to nanoseconds");
            }
        } else if (code == TimeOffset) {
            throw Wrong("times that count from another day than 1970-01-01 cannot be read");
        }
    }
    interfaces.back() = {true, ticks};
}

/// @return a packet without data for an interface that is passed over
CapturedPacket PacketReader::readPacket(Fields& fields) const
{
    uint32_t const number = fields.u32();
    if (number >= interfaces.size()) {
        throw Wrong("the packet belongs to no interface");
    }
    CapturedPacket packet;
    if (!interfaces[number].isWanted) {
        return packet;
    }
    uint64_t const ticks = interfaces[number].ticksPerSecond;
    uint64_t const high = fields.u32();
    uint64_t const time = high << 32 | fields.u32();
    uint32_t const captured = fields.u32();
    uint32_t const original = fields.u32();
    packet.data = fields.text(captured);
    if (fields.failed() || captured != original) {
        throw Wrong("the packet is cut short");
    }
    uint64_t const micros = time / ticks * microsecondsPerSecond + time % ticks * microsecondsPerSecond / ticks;
    packet.time = static_cast<int64_t>(micros);
    return packet;
}

} // namespace zelobox
