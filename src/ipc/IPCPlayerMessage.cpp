// The messages of the player and of the recorder: their type, not their kind, says how the payload is laid out.
#include <stdint.h>

#include <algorithm>

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

/// Three numbers and two empty texts.
size_t const leastStreamSize = 22;

void readStream(ByteReader& reader, IPCJSPlayerMediaInfo::Stream& stream)
{
    stream.number1 = reader.u32();
    stream.number2 = reader.u32();
    stream.number3 = reader.u32();
    readText(reader).swap(stream.text1);
    reader.skip(1);
    readText(reader).swap(stream.text2);
}

/// Reads the streams that are all there.
void readStreams(ByteReader& reader, std::vector<IPCJSPlayerMediaInfo::Stream>& streams)
{
    uint16_t const count = reader.u16();
    // Made at once, so that the list needs the memory of its elements and no more. A count that lies has one element
    // more than the payload, and fails there.
    std::vector<IPCJSPlayerMediaInfo::Stream> received(
        std::min<size_t>(count, reader.remaining() / leastStreamSize + 2));
    size_t complete = 0;
    while (complete < count && !reader.failed()) {
        reader.skip(complete == 0 ? 0 : 1); // the terminator of the stream before
        readStream(reader, received[complete]);
        complete += reader.failed() ? 0 : 1;
    }
    while (received.size() > complete) {
        received.pop_back();
    }
    streams.swap(received);
}

/// Sets the fields in the order of the payload. One that is not all there ends it like a checked access to its place.
void readMediaInfo(ByteReader reader, std::vector<char> const& payload, IPCJSPlayerMediaInfo& info)
{
    uint32_t const nameLength = reader.u32();
    reader.text(nameLength).swap(info.name);
    uint64_t const flagOffset = uint64_t{nameLength} + 5; // wide: it must not wrap on 32 bits
    static_cast<void>(payload.at(static_cast<size_t>(std::min<uint64_t>(flagOffset, SIZE_MAX))));
    reader.skip(1);
    info.flag = reader.u8() != 0;
    info.value64 = reader.u64();
    readStreams(reader, info.streams);
    if (reader.failed()) {
        static_cast<void>(payload.at(payload.size()));
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
    info.name.clear();
    info.flag = false;
    info.value64 = 0;
    info.streams.clear();
    readMediaInfo(reader(), payload, info);
}
