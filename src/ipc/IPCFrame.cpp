#include "src/ipc/IPCFrame.h"

#include "src/common/ByteReader.h"
#include "src/common/ByteWriter.h"

void writeFrameHeader(IPCFrameHeader const& header, char* bytes)
{
    uint64_t const fields = uint64_t{IPCFrameHeader::Sync} << 56 | uint64_t{header.kind} << 48 |
                            uint64_t{header.type} << 32 | header.length;
    writeNumber(fields, bytes, IPCFrameHeader::Size);
}

bool readFrameHeader(char const* bytes, IPCFrameHeader& header)
{
    ByteReader reader(bytes, IPCFrameHeader::Size);
    if (reader.u8() != IPCFrameHeader::Sync) {
        return false;
    }
    header.kind = reader.u8();
    header.type = reader.u16();
    header.length = reader.u32();
    return true;
}
