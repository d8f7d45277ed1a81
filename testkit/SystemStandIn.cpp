#include "testkit/SystemStandIn.h"

#include <map>
#include <mutex>

#include "testkit/HostStandIn.h"
#include "testkit/Interpose.h"
#include "testkit/Wait.h"

namespace libc {

namespace {

using interpose::Takeover;
using interpose::Threads;
using Lock = std::lock_guard<std::mutex>;

/// Takes the calls over for good: the library may make them while the process exits.
struct State {
    std::mutex mutex;
    std::map<std::string, std::string> files;
    int redirections = 0;
    unsigned long totalRam = 0;
    std::vector<std::string> commands;
    std::map<unsigned, int> sleeps;
    std::function<void(unsigned)> sleepObserver;

    Takeover<int(char const*, int, mode_t)> opening{interpose::open,
                                                    [this](char const* path, int flags, mode_t mode) {
                                                        return interpose::open.real(pathToOpen(path).c_str(), flags,
                                                                                    mode);
                                                    },
                                                    Threads::All};
    Takeover<int(struct sysinfo*)> askingForMemory{interpose::sysinfo,
                                                   [this](struct sysinfo* info) {
                                                       Lock const lock(mutex);
                                                       *info = {};
                                                       info->totalram = totalRam;
                                                       info->mem_unit = 4; // must not be applied
                                                       return 0;
                                                   },
                                                   Threads::All};
    Takeover<int(char const*)> running{interpose::system,
                                       [this](char const* command) {
                                           standin::recordDrm("system");
                                           Lock const lock(mutex);
                                           commands.push_back(command);
                                           return 127 << 8; // as if the program were missing
                                       },
                                       Threads::All};
    Takeover<int(useconds_t)> sleeping{interpose::usleep,
                                       [this](useconds_t microseconds) {
                                           observeSleep(microseconds);
                                           return interpose::usleep.real(microseconds);
                                       },
                                       Threads::All};

    std::string pathToOpen(char const* path)
    {
        Lock const lock(mutex);
        auto const found = files.find(path);
        if (found == files.end()) {
            return path;
        }
        ++redirections;
        return found->second;
    }

    void observeSleep(unsigned microseconds)
    {
        std::function<void(unsigned)> observer;
        {
            Lock const lock(mutex);
            ++sleeps[microseconds];
            observer = sleepObserver;
        }
        if (observer) {
            observer(microseconds);
        }
    }
};

State& state = *new State;

} // namespace

void redirectFile(std::string const& path, std::string const& replacement)
{
    Lock const lock(state.mutex);
    state.files[path] = replacement;
}

int redirections()
{
    Lock const lock(state.mutex);
    return state.redirections;
}

void setTotalRam(unsigned long bytes)
{
    Lock const lock(state.mutex);
    state.totalRam = bytes;
}

int sysinfoCalls()
{
    return static_cast<int>(state.askingForMemory.count());
}

std::vector<std::string> commands()
{
    Lock const lock(state.mutex);
    return state.commands;
}

int sleepsOf(unsigned microseconds)
{
    Lock const lock(state.mutex);
    return state.sleeps[microseconds];
}

bool waitForSleepsOf(unsigned microseconds, int count)
{
    return timely::eventually([=] { return sleepsOf(microseconds) >= count; });
}

void onSleep(std::function<void(unsigned)> observer)
{
    Lock const lock(state.mutex);
    state.sleepObserver = std::move(observer);
}

} // namespace libc
