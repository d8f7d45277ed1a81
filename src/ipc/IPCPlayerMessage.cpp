// The messages of the player and of the recorder: their type, not their kind, says how the payload is laid out.
#include <stdio.h>

#include <algorithm>
#include <stdexcept>

#include "src/ipc/IPCMessage.h"
#include "src/ipc/IPCText.h"

IPCMessageRecorderStats::IPCMessageRecorderStats(uint32_t kind) : IPCMessage(kind, IPC_RECORDER_STATS) {}

void IPCMessageRecorderStats::serialize()
{
    std::vector<char> bytes;
    ByteWriter(bytes).u8(value);
    payload.swap(bytes);
}

void IPCMessageRecorderStats::unserialize()
{
    if (payload.size() == sizeof value) {
        value = reader().u8();
    }
}

IPCMessagePlayerPlaybackInfo::IPCMessagePlayerPlaybackInfo(uint32_t kind) : IPCMessage(kind, IPC_PLAYER_PLAYBACK_INFO)
{
}

void IPCMessagePlayerPlaybackInfo::serialize()
{
    std::vector<char> bytes;
    ByteWriter(bytes).raw(&record, sizeof record);
    payload.swap(bytes);
}

void IPCMessagePlayerPlaybackInfo::unserialize()
{
    if (payload.size() == sizeof record) {
        reader().raw(&record, sizeof record);
    }
}

namespace {

/// Fails as a checked access to a vector does.
[[noreturn]] void throwRangeCheck(uint64_t index, size_t size)
{
    char what[128];
    snprintf(what, sizeof what, "vector::_M_range_check: __n (which is %llu) >= this->size() (which is %llu)",
             static_cast<unsigned long long>(index), static_cast<unsigned long long>(size));
    throw std::out_of_range(what);
}

/// Three numbers and two empty texts.
size_t const leastStreamSize = 22;

IPCJSPlayerMediaInfo::Stream readStream(ByteReader& reader)
{
    IPCJSPlayerMediaInfo::Stream stream;
    stream.number1 = reader.u32();
    stream.number2 = reader.u32();
    stream.number3 = reader.u32();
    stream.text1 = readText(reader);
    reader.skip(1);
    stream.text2 = readText(reader);
    return stream;
}

/// Sets the fields in the order of the payload, and stops at the first that is not all there.
void readMediaInfo(ByteReader reader, size_t payloadSize, IPCJSPlayerMediaInfo& info)
{
    uint32_t const nameLength = reader.u32();
    info.name = reader.text(nameLength);
    uint64_t const flagOffset = uint64_t{nameLength} + 5; // wide: it must not wrap on 32 bits
    if (flagOffset >= payloadSize) {
        throwRangeCheck(flagOffset, payloadSize);
    }
    reader.skip(1);
    info.flag = reader.u8() != 0;
    info.value64 = reader.u64();
    uint16_t const count = reader.u16();
    info.streams.reserve(std::min<size_t>(count, reader.remaining() / leastStreamSize + 1));
    for (uint16_t i = 0; i < count && !reader.failed(); ++i) {
        reader.skip(i == 0 ? 0 : 1); // the terminator of the stream before
        IPCJSPlayerMediaInfo::Stream stream = readStream(reader);
        if (!reader.failed()) {
            info.streams.push_back(std::move(stream));
        }
    }
    if (reader.failed()) {
        throwRangeCheck(payloadSize, payloadSize);
    }
}

} // namespace

IPCMessagePlayerMediaInfo::IPCMessagePlayerMediaInfo(uint32_t kind) : IPCMessage(kind, IPC_PLAYER_MEDIA_INFO) {}

void IPCMessagePlayerMediaInfo::serialize()
{
    std::vector<char> bytes;
    ByteWriter writer(bytes);
    writeText(writer, info.name);
    writer.u8(info.flag ? 1 : 0);
    writer.u64(info.value64);
    writer.u16(static_cast<uint16_t>(info.streams.size()));
    for (IPCJSPlayerMediaInfo::Stream const& stream : info.streams) {
        writer.u32(stream.number1);
        writer.u32(stream.number2);
        writer.u32(stream.number3);
        writeText(writer, stream.text1);
        writeText(writer, stream.text2);
    }
    payload.swap(bytes);
}

void IPCMessagePlayerMediaInfo::unserialize()
{
    info = IPCJSPlayerMediaInfo();
    readMediaInfo(reader(), payload.size(), info);
}
