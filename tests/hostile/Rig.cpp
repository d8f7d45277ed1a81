#include "tests/hostile/Rig.h"

#include <malloc.h>
#include <sys/resource.h>
#include <time.h>

#include <fstream>
#include <limits>
#include <thread>

#include "cobalt/ZeloCobalt.h"

namespace rig {

namespace {

long statusField(std::string const& name)
{
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;) {
        if (word == name + ":") {
            long value = 0;
            status >> value;
            return value;
        }
    }
    return -1;
}

void onKey(SbKey, uint8_t)
{
    ++keys;
}

void onVolume()
{
    ++volumeChanges;
}

} // namespace

std::atomic<int> keys{0};
std::atomic<int> volumeChanges{0};

long heapInUseKiB()
{
    struct mallinfo2 const heap = mallinfo2();
    return static_cast<long>((heap.uordblks + heap.hblkhd) / 1024);
}

long residentKiB()
{
    malloc_trim(0);
    return statusField("VmRSS");
}

long peakKiB()
{
    return statusField("VmHWM");
}

long memoryLimit(long limit)
{
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    limit = std::numeric_limits<long>::max();
#endif
    return limit;
}

Milliseconds processorTime()
{
    timespec used;
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &used);
    return Milliseconds(used.tv_sec * 1000 + used.tv_nsec / 1000000);
}

Milliseconds since(Clock::time_point begin)
{
    return std::chrono::duration_cast<Milliseconds>(Clock::now() - begin);
}

bool waitUntil(std::function<bool()> const& holds, Milliseconds deadline)
{
    auto const end = Clock::now() + deadline;
    while (!holds()) {
        if (Clock::now() > end) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
    return true;
}

std::vector<char> configuration(std::string const& text)
{
    std::vector<char> payload(16, 1);
    for (int i = 0; i < 5; ++i) {
        payload.push_back(static_cast<char>((text.size() + 1) >> 8));
        payload.push_back(static_cast<char>(text.size() + 1));
        payload.insert(payload.end(), text.begin(), text.end());
        payload.push_back(0);
        payload.insert(payload.end(), i == 3 ? 1 : 0, 1);
    }
    return payload;
}

std::vector<char> keyFrame()
{
    return bytesOf(zelobox::frameOf(IPCMessageUnsignedInt(IPC_REMOTE_KEY, 1)));
}

std::vector<char> volumeFrame(uint32_t value)
{
    return bytesOf(zelobox::frameOf(IPCMessageUnsignedInt(IPC_VOLUME, value)));
}

unsigned currentVolume()
{
    unsigned volume = 0;
    bool muted = false;
    ZeloGetVolume(volume, muted);
    return volume;
}

Started::Started() : connection(zelobox::Descriptor())
{
    std::thread host([] { ZeloStartApp({onKey, nullptr, nullptr, onVolume}); });
    connection = acceptClient();
    connection.send({IPC_PAYLOAD_RAW, IPC_BROWSER_CONFIG, configuration("en")});
    host.join();
}

Started::~Started()
{
    auto const begin = Clock::now();
    ZeloStopApp();
    EXPECT_LT(since(begin), Milliseconds(5000)) << "the stop";
}

zelobox::Connection Started::acceptClient(Milliseconds deadline)
{
    zelobox::Connection accepted = listener.accept(deadline);
    while (accepted.receive().type != IPC_CLIENT_STATE) {
    }
    return accepted;
}

void Started::proveAlive()
{
    connection.close();
    connection = acceptClient();
    int const before = keys;
    connection.sendBytes(keyFrame());
    EXPECT_TRUE(waitUntil([before] { return keys > before; })) << "no key gets through";
}

} // namespace rig
