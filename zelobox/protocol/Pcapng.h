/// @file
/// Traffic in the packets of a capture. docs/protocol.md describes the packets.
#ifndef ZELO_ZELOBOX_PCAPNG_H
#define ZELO_ZELOBOX_PCAPNG_H

#include <optional>
#include <string>

#include "zelobox/protocol/PcapngBlocks.h"
#include "zelobox/protocol/Trace.h"

namespace zelobox {

/// LINKTYPE_USER0, which Wireshark has tools/wireshark/zelo.lua decode.
constexpr uint16_t pcapngLinkType = 147;

/// What stands before the bytes of a frame in a packet: version, event, direction, one byte 0, connection in 32 bits.
constexpr size_t pcapngPseudoHeaderSize = 8;
constexpr uint8_t pcapngPseudoHeaderVersion = 1;

/// @return the section's and the interface's block
std::string pcapngHead();
/// @return the block of one packet
std::string pcapngPacket(TraceRecord const& record);

/// The records of a capture, as its bytes come. What is wrong is told of and left out.
class PacketRecords {
public:
    PacketRecords(std::string const& name, PacketReader::OnProblem onProblem)
        : reader(name, pcapngLinkType, std::move(onProblem))
    {
    }

    void append(char const* bytes, size_t size) { reader.append(bytes, size); }
    /// @param atEnd  nothing follows
    /// @return nothing, when more bytes are needed
    std::optional<TraceRecord> next(bool atEnd);

private:
    PacketReader reader;
};

} // namespace zelobox

#endif
