/// @file
/// How a text stands in a payload: its length in 32 bits, its bytes, one byte 0.
#ifndef ZELO_IPC_IPCTEXT_H
#define ZELO_IPC_IPCTEXT_H

#include <stdint.h>

#include <string>

#include "src/common/ByteReader.h"
#include "src/common/ByteWriter.h"

inline void writeText(ByteWriter& writer, std::string const& text)
{
    writer.u32(static_cast<uint32_t>(text.size()));
    writer.raw(text.data(), text.size());
    writer.u8(0);
}

/// Reads a text up to its terminator, which is the caller's to skip if something follows.
inline std::string readText(ByteReader& reader)
{
    uint32_t const length = reader.u32();
    return reader.text(length);
}

#endif
