// The parts of the library that run without a link.
#include <benchmark/benchmark.h>

#include "cobalt/CobaltManager.h"
#include "cobalt/ZeloCobalt.h"
#include "src/common/AutoRetrier.h"
#include "src/ipc/IPCFrame.h"
#include "src/ipc/IPCMessage.h"
#include "testkit/ConfigPayload.h"
#include "testkit/HostStandIn.h"

namespace {

template <typename Message> std::vector<char> payloadOf(Message&& message)
{
    message.serialize();
    return message.payload;
}

void decode(benchmark::State& state, uint8_t kind, uint16_t type, std::vector<char> const& payload)
{
    for (auto _ : state) {
        std::vector<char> received(payload);
        benchmark::DoNotOptimize(makeReceivedMessage(kind, type, std::move(received)));
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(payload.size()));
}

void decodeNumber(benchmark::State& state)
{
    decode(state, IPC_PAYLOAD_UINT32, IPC_REMOTE_KEY, payloadOf(IPCMessageUnsignedInt(IPC_REMOTE_KEY, 42)));
}
BENCHMARK(decodeNumber);

void decodeText(benchmark::State& state)
{
    std::string const text(static_cast<size_t>(state.range(0)), 'x');
    decode(state, IPC_PAYLOAD_STRING, IPC_APP_LIFECYCLE, payloadOf(IPCMessageSimpleString(IPC_APP_LIFECYCLE, text)));
}
BENCHMARK(decodeText)->Range(8, 64 << 10);

void decodeNumbers(benchmark::State& state)
{
    IPCMessageUnsignedIntArray message(IPC_UNHANDLED_8);
    message.values.resize(static_cast<size_t>(state.range(0)));
    decode(state, IPC_PAYLOAD_UINT32_ARRAY, IPC_UNHANDLED_8, payloadOf(message));
}
BENCHMARK(decodeNumbers)->Range(1, 4096);

void decodeMediaInfo(benchmark::State& state)
{
    IPCMessagePlayerMediaInfo message;
    message.info.streams.resize(static_cast<size_t>(state.range(0)));
    decode(state, IPC_PAYLOAD_RAW, IPC_PLAYER_MEDIA_INFO, payloadOf(message));
}
BENCHMARK(decodeMediaInfo)->Range(1, 64);

void encodeNumber(benchmark::State& state)
{
    IPCMessageUnsignedInt message(IPC_PREVIOUS_CONTROLLER, 4);
    for (auto _ : state) {
        message.serialize();
        benchmark::DoNotOptimize(message.payload.data());
    }
}
BENCHMARK(encodeNumber);

void encodeText(benchmark::State& state)
{
    IPCMessageSimpleString message(IPC_VIDEO_WINDOW_MODE, std::string(static_cast<size_t>(state.range(0)), 'x'));
    for (auto _ : state) {
        message.serialize();
        benchmark::DoNotOptimize(message.payload.data());
    }
}
BENCHMARK(encodeText)->Range(8, 64 << 10);

void frameHeader(benchmark::State& state)
{
    char bytes[IPCFrameHeader::Size];
    for (auto _ : state) {
        writeFrameHeader({IPC_PAYLOAD_UINT32, IPC_REMOTE_KEY, 4}, bytes);
        benchmark::DoNotOptimize(bytes);
        IPCFrameHeader header;
        benchmark::DoNotOptimize(readFrameHeader(bytes, header));
    }
}
BENCHMARK(frameHeader);

void keyTable(benchmark::State& state)
{
    int32_t command = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(KeyCodeToSbKey(static_cast<STBCommand>(++command & 127)));
    }
}
BENCHMARK(keyTable);

void configuration(benchmark::State& state)
{
    std::vector<char> payloads[2];
    for (int i = 0; i < 2; ++i) {
        std::string const text(static_cast<size_t>(state.range(0)), static_cast<char>('a' + i));
        payloads[i] = configOfText(text).bytes();
    }
    size_t round = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(CobaltManager::_config.parse(payloads[++round & 1]));
    }
}
BENCHMARK(configuration)->Range(8, 32 << 10);

void backOff(benchmark::State& state)
{
    AutoRetrier retrier("benchmark");
    for (int i = 0; i < 25; ++i) {
        retrier.failed();
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(retrier.isDue());
    }
}
BENCHMARK(backOff);

} // namespace

int main(int argc, char** argv)
{
    standin::setLogging(standin::Logging::Dropped);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
