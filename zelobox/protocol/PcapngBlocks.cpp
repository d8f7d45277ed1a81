#include "zelobox/protocol/PcapngBlocks.h"

#include "src/common/ByteReader.h"
#include "src/common/ByteWriter.h"
#include "zelobox/protocol/Json.h"

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

std::string packetBlock(PcapngPacket const& packet, PacketWay way)
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

class PcapngReader::Fields {
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

std::string PcapngReader::where() const
{
    return name + " at offset " + std::to_string(offset);
}

void PcapngReader::fail(std::string const& problem) const
{
    throw InputError(where() + ": " + problem);
}

std::optional<PcapngPacket> PcapngReader::next()
{
    for (offset = end; offset < file.size(); offset = end) {
        uint32_t type = 0;
        Fields fields = nextBlock(type);
        if (type == SectionHeader) {
            ticksPerSecond.clear();
        } else if (type == InterfaceDescription) {
            readInterface(fields);
        } else if (type == EnhancedPacket) {
            return readPacket(fields);
        } else if (type == SimplePacket) {
            fail("a packet without a time");
        }
    }
    return std::nullopt;
}

PcapngReader::Fields PcapngReader::nextBlock(uint32_t& type)
{
    if (file.size() - offset < smallestBlock) {
        fail("the file is cut short");
    }
    char const* const begin = file.data() + offset;
    if (Fields(begin, 4, false).u32() == SectionHeader) {
        uint32_t const magic = Fields(begin + 8, 4, false).u32();
        swapped = magic != byteOrderMagic;
        if (swapped && __builtin_bswap32(magic) != byteOrderMagic) {
            fail("the section has no byte order");
        }
    }
    Fields head(begin, 8, swapped);
    type = head.u32();
    uint32_t const length = head.u32();
    if (length < smallestBlock || length % 4 != 0) {
        fail("no block has the length " + std::to_string(length));
    }
    if (length > file.size() - offset) {
        fail("the file is cut short");
    }
    end = offset + length;
    return {begin + 8, length - smallestBlock, swapped};
}

void PcapngReader::readInterface(Fields& fields)
{
    uint16_t const found = fields.u16();
    if (found != linkType) {
        fail("the link type is " + std::to_string(found) + ", expected " + std::to_string(linkType) +
             "; is it a capture of something else?");
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
        } else if (code == TimeOffset) {
            fail("times that count from another day than 1970-01-01 cannot be read");
        }
    }
    ticksPerSecond.push_back(ticks);
}

uint64_t PcapngReader::ticksOf(std::string const& resolution) const
{
    if (resolution.size() != 1 || static_cast<unsigned char>(resolution[0]) > 9) {
        fail("times are neither in seconds nor in one of their decimal parts down to nanoseconds");
    }
    uint64_t ticks = 1;
    for (int i = 0; i < resolution[0]; ++i) {
        ticks *= 10;
    }
    return ticks;
}

PcapngPacket PcapngReader::readPacket(Fields& fields) const
{
    uint32_t const number = fields.u32();
    if (number >= ticksPerSecond.size()) {
        fail("the packet belongs to no interface");
    }
    uint64_t const ticks = ticksPerSecond[number];
    uint64_t const high = fields.u32();
    uint64_t const time = high << 32 | fields.u32();
    uint32_t const captured = fields.u32();
    uint32_t const original = fields.u32();
    PcapngPacket packet;
    packet.data = fields.text(captured);
    if (fields.failed() || captured != original) {
        fail("the packet is cut short");
    }
    uint64_t const micros = time / ticks * microsecondsPerSecond + time % ticks * microsecondsPerSecond / ticks;
    packet.time = static_cast<int64_t>(micros);
    return packet;
}

} // namespace zelobox
