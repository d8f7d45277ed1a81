#include "testkit/LibcStandIn.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <stdarg.h>
#include <stdlib.h>
#include <sys/sysinfo.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <map>
#include <mutex>

#include "testkit/DrmRecord.h"

namespace {

struct State {
    std::mutex mutex;
    std::condition_variable slept;
    std::map<std::string, std::string> files;
    int redirections = 0;
    unsigned long totalRam = 0;
    int sysinfoCalls = 0;
    std::vector<std::string> commands;
    std::map<unsigned, int> sleeps;
    std::function<void(unsigned)> sleepObserver;
};

/// Neither too late for a caller before main() nor gone for one after it.
State& state()
{
    static State& theState = *new State;
    return theState;
}

using Lock = std::unique_lock<std::mutex>;

template <typename Function> Function* next(char const* name)
{
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

using Open = int(char const*, int, ...);
using Usleep = int(useconds_t);

Open* realOpen()
{
    static Open* const function = next<Open>("open");
    return function;
}

Usleep* realUsleep()
{
    static Usleep* const function = next<Usleep>("usleep");
    return function;
}

/// Looked up here, as soon as nobody needed them earlier: dlsym() waits for an unload, which may wait for its caller.
bool const areLookedUp = realOpen() != nullptr && realUsleep() != nullptr;

std::string pathToOpen(char const* path)
{
    Lock const lock(state().mutex);
    auto const found = state().files.find(path);
    if (found == state().files.end()) {
        return path;
    }
    ++state().redirections;
    return found->second;
}

} // namespace

namespace libc {

void redirectFile(std::string const& path, std::string const& replacement)
{
    Lock const lock(state().mutex);
    state().files[path] = replacement;
}

int redirections()
{
    Lock const lock(state().mutex);
    return state().redirections;
}

void setTotalRam(unsigned long bytes)
{
    Lock const lock(state().mutex);
    state().totalRam = bytes;
}

int sysinfoCalls()
{
    Lock const lock(state().mutex);
    return state().sysinfoCalls;
}

std::vector<std::string> commands()
{
    Lock const lock(state().mutex);
    return state().commands;
}

int sleepsOf(unsigned microseconds)
{
    Lock const lock(state().mutex);
    return state().sleeps[microseconds];
}

bool waitForSleepsOf(unsigned microseconds, int count)
{
    Lock lock(state().mutex);
    return state().slept.wait_for(lock, std::chrono::seconds(10),
                                  [=] { return state().sleeps[microseconds] >= count; });
}

void onSleep(std::function<void(unsigned)> observer)
{
    Lock const lock(state().mutex);
    state().sleepObserver = std::move(observer);
}

} // namespace libc

extern "C" int open(char const* path, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    mode_t const mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    return realOpen()(pathToOpen(path).c_str(), flags, mode);
}

extern "C" int sysinfo(struct sysinfo* info) noexcept
{
    Lock const lock(state().mutex);
    ++state().sysinfoCalls;
    *info = {};
    info->totalram = state().totalRam;
    info->mem_unit = 4; // must not be applied
    return 0;
}

extern "C" int system(char const* command)
{
    standin::recordDrm("system");
    Lock const lock(state().mutex);
    state().commands.push_back(command);
    return 127 << 8; // as if the program were missing
}

extern "C" int usleep(useconds_t microseconds)
{
    std::function<void(unsigned)> observer;
    {
        Lock const lock(state().mutex);
        ++state().sleeps[microseconds];
        observer = state().sleepObserver;
    }
    state().slept.notify_all();
    if (observer) {
        observer(microseconds);
    }
    return realUsleep()(microseconds);
}
