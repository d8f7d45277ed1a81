#include "testkit/Callbacks.h"

#include <algorithm>
#include <condition_variable>
#include <mutex>

#include "testkit/Wait.h"

namespace callbacks {

namespace {

/// Never destroyed: callbacks may run while the process exits.
struct State {
    std::mutex mutex;
    std::condition_variable changed;
    std::function<void()> body;
    std::function<std::string()> volumeText;
    std::vector<std::string> calls;
    bool entered = false;
    bool released = false;
};

State& state = *new State;

using Lock = std::unique_lock<std::mutex>;

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
    called("volume" + (state.volumeText ? state.volumeText() : ""));
}

void enter()
{
    Lock lock(state.mutex);
    state.entered = true;
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

void setVolumeText(std::function<std::string()> text)
{
    state.volumeText = std::move(text);
}

std::vector<std::string> calls()
{
    Lock const lock(state.mutex);
    return state.calls;
}

void clearCalls()
{
    Lock const lock(state.mutex);
    state.calls.clear();
}

bool waitForCalls(size_t count)
{
    return timely::eventually([=] { return calls().size() >= count; });
}

bool waitFor(std::string const& call, size_t count)
{
    return timely::eventually([&] {
        std::vector<std::string> const made = calls();
        return static_cast<size_t>(std::count(made.begin(), made.end(), call)) >= count;
    });
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
    return timely::eventually([] {
        Lock const lock(state.mutex);
        return state.entered;
    });
}

void Latch::release()
{
    Lock const lock(state.mutex);
    state.released = true;
    state.changed.notify_all();
}

} // namespace callbacks
