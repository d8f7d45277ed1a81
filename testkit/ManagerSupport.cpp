#include "testkit/ManagerSupport.h"

#include <algorithm>
#include <chrono>

namespace testlink {

namespace {

std::mutex mutex;
std::condition_variable changed;
std::vector<std::string> recorded;
std::function<void()> observer;

void record(std::string const& call)
{
    std::function<void()> toTell;
    {
        std::lock_guard<std::mutex> const lock(mutex);
        recorded.push_back(call);
        toTell = observer;
    }
    changed.notify_all();
    if (toTell) {
        toTell();
    }
}

void rememberKey(SbKey key, uint8_t modifier)
{
    record("key " + std::to_string(key) + " " + std::to_string(modifier));
}

void rememberPause()
{
    record("pause");
}

void rememberResume()
{
    record("resume");
}

void rememberVolume()
{
    unsigned volume = 0;
    bool muted = false;
    CobaltManager::volumes(volume, muted);
    record("volume " + std::to_string(volume) + (muted ? " muted" : ""));
}

} // namespace

zelobox::Frame const allowedList = {0, 1,
                                    bytes::fromHex("00 00 00 08  00 00 00 18  00 00 00 19  00 00 00 1A  00 00 00 1B"
                                                   " 00 00 00 24  00 00 00 27  00 00 00 2A  00 00 00 31  00 00 00 3A")};
zelobox::Frame const configRequest = {0, 23, {}};
zelobox::Frame const clientState = {1, 37, bytes::fromHex("00 00 00 02")};
zelobox::Frame const configState = {1, 38, bytes::fromHex("00 00 00 02")};
zelobox::Frame const fullScreen = {0, 29, bytes::fromHex("00 00 00 00 00 00 00 00 00")};
zelobox::Frame const boxMode = {4, 44, bytes::fromHex("00 00 00 03 62 6F 78 00")};

zelobox::Frame const configuration = {0, 24,
                                      bytes::fromHex("00  0A 1B 2C 3D 4E 5F  07 80  04 38  01  00 00  00 00"
                                                     " 00 01 00  00 03 64 65 00  00 01 00  00 01 00  01  00 01 00")};

ZeloCallbacks rememberingCallbacks()
{
    return {rememberKey, rememberPause, rememberResume, rememberVolume};
}

std::vector<std::string> hostCalls()
{
    std::lock_guard<std::mutex> const lock(mutex);
    return recorded;
}

bool waitForHostCall(std::string const& call, size_t count)
{
    std::unique_lock<std::mutex> lock(mutex);
    return changed.wait_until(lock, std::chrono::steady_clock::now() + Milliseconds(10000), [&] {
        return static_cast<size_t>(std::count(recorded.begin(), recorded.end(), call)) >= count;
    });
}

void onHostCall(std::function<void()> const& newObserver)
{
    std::lock_guard<std::mutex> const lock(mutex);
    observer = newObserver;
}

Managed::Managed()
{
    CobaltManager::_config = CobaltManager::Config();
    standin::clearLog();
    std::lock_guard<std::mutex> const lock(mutex);
    recorded.clear();
}

Managed::~Managed()
{
    manager.reset();
    onHostCall({});
}

void Managed::start(ZeloCallbacks const& callbacks)
{
    manager.emplace(callbacks);
    middleware = listener.accept();
    EXPECT_EQ(allowedList, middleware.receive());
    EXPECT_EQ(configRequest, middleware.receive());
    EXPECT_EQ(clientState, middleware.receive());
}

void Managed::sendAndWait(zelobox::Frame const& frame)
{
    size_t const before = standin::logLines("New message received: 8 length 0").size();
    middleware.send(frame);
    middleware.send({IPC_PAYLOAD_RAW, IPC_UNHANDLED_8, {}});
    // The trace of the second message comes when the first one has been handled.
    ASSERT_TRUE(standin::waitForLog("New message received: 8 length 0", before + 1));
}

} // namespace testlink
