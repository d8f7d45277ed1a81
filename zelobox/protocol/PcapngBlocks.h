/// @file
/// Blocks of the pcapng format, as far as packets of one kind of link need them.
#ifndef ZELO_ZELOBOX_PCAPNGBLOCKS_H
#define ZELO_ZELOBOX_PCAPNGBLOCKS_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace zelobox {

struct PcapngPacket {
    int64_t time = 0; ///< microseconds since 1970
    std::string data;
};

enum class PacketWay : uint32_t { Unknown = 0, Inbound = 1, Outbound = 2 };

std::string sectionBlock(std::string const& application);
/// Times have microseconds.
std::string interfaceBlock(std::string const& name, uint16_t linkType);
std::string packetBlock(PcapngPacket const& packet, PacketWay way);

/// Goes from packet to packet.
class PcapngReader {
public:
    /// @param contents  of the file, not owned
    PcapngReader(std::string const& contents, std::string const& fileName, uint16_t wantedLinkType)
        : file(contents), name(fileName), linkType(wantedLinkType)
    {
    }

    /// @throw InputError
    std::optional<PcapngPacket> next();

    /// @return "name at offset 17", the place of the last packet
    std::string where() const;

private:
    class Fields; // of one block, in the byte order of the section

    Fields nextBlock(uint32_t& type);
    void readInterface(Fields& fields);
    uint64_t ticksOf(std::string const& resolution) const;
    PcapngPacket readPacket(Fields& fields) const;
    [[noreturn]] void fail(std::string const& problem) const;

    std::string const& file;
    std::string const name;
    uint16_t const linkType;
    size_t offset = 0;
    size_t end = 0;
    bool swapped = false;
    std::vector<uint64_t> ticksPerSecond; // of each interface of the section
};

} // namespace zelobox

#endif
