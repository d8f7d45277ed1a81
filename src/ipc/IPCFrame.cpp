#include "src/ipc/IPCFrame.h"

#include "src/common/ByteReader.h"
#include "src/common/ByteWriter.h"

void writeFrameHeader(IPCFrameHeader const& header, char* bytes)
{
    AreaWriter writer(bytes);
    writer.u8(IPCFrameHeader::Sync);
    writer.u8(header.kind);
    writer.u16(header.type);
    writer.u32(header.length);
}

bool readFrameHeader(char const* bytes, IPCFrameHeader& header)
{
    ByteReader reader(bytes, IPCFrameHeader::Size);
    if (reader.u8() != IPCFrameHeader::Sync) { // the only thing that tells a frame from bytes out of step
        return false;
    }
    header.kind = reader.u8();
    header.type = reader.u16();
    header.length = reader.u32();
    return true;
}
