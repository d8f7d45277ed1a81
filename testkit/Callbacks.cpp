#include "testkit/Callbacks.h"

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace callbacks {

namespace {

/// Never destroyed: callbacks may run while the process exits.
struct State {
    std::mutex mutex;
    std::condition_variable changed;
    std::function<void()> body;
    std::vector<std::string> calls;
    bool entered = false;
    bool released = false;
};

State& state = *new State;

using Lock = std::unique_lock<std::mutex>;

template <typename Predicate> bool waitUntil(Predicate predicate)
{
    Lock lock(state.mutex);
    return state.changed.wait_for(lock, std::chrono::seconds(10), predicate);
}

void called(std::string const& call)
{
    std::function<void()> body;
    {
        Lock const lock(state.mutex);
        body = state.body;
    }
    if (body) {
        body();
    }
    Lock const lock(state.mutex);
    state.calls.push_back(call);
    state.changed.notify_all();
}

void onKey(SbKey key, uint8_t modifier)
{
    called("key " + std::to_string(key) + " " + std::to_string(modifier));
}

void onPause()
{
    called("pause");
}

void onResume()
{
    called("resume");
}

void onVolumeChanged()
{
    called("volume");
}

void enter()
{
    Lock lock(state.mutex);
    state.entered = true;
    state.changed.notify_all();
    state.changed.wait(lock, [] { return state.released; });
}

} // namespace

ZeloCallbacks all()
{
    return {&onKey, &onPause, &onResume, &onVolumeChanged};
}

void setBody(std::function<void()> body)
{
    Lock const lock(state.mutex);
    state.body = std::move(body);
}

std::vector<std::string> calls()
{
    Lock const lock(state.mutex);
    return state.calls;
}

bool waitForCalls(size_t count)
{
    return waitUntil([=] { return state.calls.size() >= count; });
}

Latch::Latch()
{
    Lock const lock(state.mutex);
    state.entered = false;
    state.released = false;
    state.body = &enter;
}

bool Latch::waitUntilEntered()
{
    return waitUntil([] { return state.entered; });
}

void Latch::release()
{
    Lock const lock(state.mutex);
    state.released = true;
    state.changed.notify_all();
}

} // namespace callbacks
