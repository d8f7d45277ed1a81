/// @file
/// The pcapng format, and the one before it, as far as packets of one kind of link need them.
#ifndef ZELO_ZELOBOX_PCAPNGBLOCKS_H
#define ZELO_ZELOBOX_PCAPNGBLOCKS_H

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace zelobox {

struct CapturedPacket {
    int64_t time = 0; ///< microseconds since 1970
    std::string data;
};

enum class PacketWay : uint32_t { Unknown = 0, Inbound = 1, Outbound = 2 };

std::string sectionBlock(std::string const& application);
/// Times have microseconds.
std::string interfaceBlock(std::string const& name, uint16_t linkType);
std::string packetBlock(CapturedPacket const& packet, PacketWay way);

/// Whether a file that begins so is pcapng, or what tcpdump wrote before there was that.
bool isPcapng(std::string const& start);
bool isClassicPcap(std::string const& start);

/// Goes from packet to packet, in files of either format and byte order, as their bytes come.
///
/// A block that cannot be understood is told of and left out. After one whose length makes no sense it goes on with the
/// next bytes that look like a block.
class PacketReader {
public:
    using OnProblem = std::function<void(std::string const& text)>;

    PacketReader(std::string fileName, uint16_t wantedLinkType, OnProblem problemTaker)
        : name(std::move(fileName)), linkType(wantedLinkType), onProblem(std::move(problemTaker))
    {
    }

    void append(char const* bytes, size_t size);
    /// @param atEnd  nothing follows
    /// @return nothing, when more bytes are needed
    std::optional<CapturedPacket> next(bool atEnd);

    /// Tells that something is wrong with the last packet.
    void report(std::string const& problem) const { onProblem(where() + ": " + problem); }

private:
    class Fields; // of one block, in the byte order of the section
    class Wrong;  // thrown: what is wrong with a block

    struct Interface {
        bool isWanted = false;
        uint64_t ticksPerSecond = 0;
    };
    struct Block {
        uint32_t type = 0;
        size_t length = 0;
    };

    std::string where() const { return name + " at offset " + std::to_string(base + offset); }
    size_t left() const { return buffer.size() - end; }
    std::optional<CapturedPacket> nextBlock(bool atEnd);
    std::optional<CapturedPacket> nextRecord(bool atEnd);
    bool begin(bool atEnd);
    bool beginClassic(bool atEnd);
    bool waitsFor(size_t size, bool atEnd);
    bool findBlock(bool atEnd);
    Block blockAt(size_t position);
    std::optional<CapturedPacket> carryOut(Block const& block);
    void readInterface(Fields& fields);
    CapturedPacket readPacket(Fields& fields) const;

    std::string const name;
    uint16_t const linkType;
    OnProblem const onProblem;
    std::string buffer;
    size_t base = 0;   // of the buffer in the file
    size_t offset = 0; // of the last block
    size_t end = 0;    // of the last block
    bool isClassic = false;
    bool isBegun = false;
    bool isLost = false;
    bool swapped = false;
    std::vector<Interface> interfaces; // of the section
};

} // namespace zelobox

#endif
