/// @file
/// Traces as pcapng files. docs/protocol.md describes the packets.
#ifndef ZELO_ZELOBOX_PCAPNG_H
#define ZELO_ZELOBOX_PCAPNG_H

#include <functional>
#include <string>

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

bool isPcapng(std::string const& contents);

/// Reads files of either byte order and of several sections, as Wireshark and its tools write them; blocks that hold no
/// packets are passed over.
///
/// @param name  names the file in errors
/// @throw InputError naming the offset
void readPcapng(std::string const& contents, std::string const& name,
                std::function<void(TraceRecord const&)> const& onRecord);

} // namespace zelobox

#endif
