/// @file
/// The frame around every message on the socket, in both directions.
#ifndef ZELO_IPC_IPCFRAME_H
#define ZELO_IPC_IPCFRAME_H

#include <stddef.h>
#include <stdint.h>

/// 8 bytes: sync, kind, type in 16 bits, payload length in 32 bits; big-endian. The payload follows.
struct IPCFrameHeader {
    enum : size_t { Size = 8 };
    enum : uint8_t { Sync = 0x6D };

    uint8_t kind;    ///< IPCPayloadKind
    uint16_t type;   ///< IPCMessageType
    uint32_t length; ///< payload bytes
};

/// Encodes @p header into the IPCFrameHeader::Size bytes at @p bytes.
void writeFrameHeader(IPCFrameHeader const& header, char* bytes);

/// Decodes the first IPCFrameHeader::Size bytes at @p bytes.
///
/// @return false when they do not begin with the sync byte; @p header is then left as it was
bool readFrameHeader(char const* bytes, IPCFrameHeader& header);

#endif
