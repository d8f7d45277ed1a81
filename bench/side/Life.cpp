// What the library costs beside its messages, each printed as a line of JSON.
//
//     library_life LIBRARY start COUNT          starts and stops, in milliseconds
//     library_life LIBRARY rest SECONDS         wake-ups and memory of a process at rest
//     library_life LIBRARY config LENGTH        nanoseconds for a configuration with texts of this length, and its
//     answers library_life LIBRARY stalled RATE         queue and memory after half a second of requests that nobody
//     reads
#include <dirent.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include "bench/support/Handshake.h"
#include "testkit/ConfigPayload.h"
#include "testkit/LoadedLibrary.h"

namespace {

using Clock = std::chrono::steady_clock;

/// What both processes see.
struct Shared {
    std::atomic<bool> stillReading{true};
    std::atomic<int> unread{-1}; ///< bytes that have left the library and wait for the middleware
    std::atomic<double> nsPerConfiguration{0};
};

double millisecondsSince(Clock::time_point begin)
{
    return std::chrono::duration<double, std::milli>(Clock::now() - begin).count();
}

template <typename Condition> void waitUntil(Condition done)
{
    while (!done()) {
        usleep(1000);
    }
}

void start(LoadedLibrary const& library)
{
    library.start({});
}

void serveAlways(zelobox::Listener& listener, Shared&, size_t)
{
    for (;;) {
        acceptConfigured(listener).waitForClose(zelobox::Milliseconds(60000));
    }
}

void printList(char const* name, std::vector<double> const& numbers)
{
    std::printf("\"%s\": [", name);
    for (size_t i = 0; i < numbers.size(); ++i) {
        std::printf("%s%.2f", i == 0 ? "" : ", ", numbers[i]);
    }
    std::printf("]");
}

void startAndStop(LoadedLibrary& library, Shared&, size_t count)
{
    std::vector<double> starts;
    std::vector<double> stops;
    for (size_t i = 0; i < count; ++i) {
        Clock::time_point begin = Clock::now();
        start(library);
        starts.push_back(millisecondsSince(begin));
        usleep(static_cast<useconds_t>(i * 37000 % 200000)); // the threads wait for something else each time
        begin = Clock::now();
        library.stop();
        stops.push_back(millisecondsSince(begin));
    }
    std::printf("{");
    printList("start_ms", starts);
    std::printf(", ");
    printList("stop_ms", stops);
    std::printf("}\n");
}

/// @return KiB, or a number in a thread's status
unsigned long fieldOf(std::string const& file, std::string const& field)
{
    std::ifstream status(file);
    unsigned long number = 0;
    for (std::string word; status >> word;) {
        if (word == field) {
            status >> number;
            break;
        }
    }
    return number;
}

/// How often the library's threads have given up their processor to wait.
unsigned long waits()
{
    unsigned long sum = 0;
    DIR* const tasks = opendir("/proc/self/task");
    while (dirent const* const entry = readdir(tasks)) {
        std::string const task = std::string("/proc/self/task/") + entry->d_name;
        std::string name;
        std::ifstream(task + "/comm") >> name;
        if (name.compare(0, 4, "ipc_") == 0) {
            sum += fieldOf(task + "/status", "voluntary_ctxt_switches:");
        }
    }
    closedir(tasks);
    return sum;
}

unsigned long residentKiB()
{
    return fieldOf("/proc/self/smaps_rollup", "Rss:");
}

void rest(char const* path, size_t seconds)
{
    residentKiB(); // the streams' own memory
    waits();
    unsigned long const before = residentKiB();
    LoadedLibrary library(path);
    unsigned long const loaded = residentKiB();
    start(library);
    sleep(1); // the answers have been sent
    unsigned long const started = residentKiB();
    unsigned long const waited = waits();
    sleep(static_cast<unsigned>(seconds));
    std::printf("{\"wakeups_per_second\": %.2f, \"resident_loaded_kib\": %ld, \"resident_started_kib\": %ld}\n",
                static_cast<double>(waits() - waited) / static_cast<double>(seconds),
                static_cast<long>(loaded - before), static_cast<long>(started - before));
    std::fflush(stdout);
    _exit(0);
}

zelobox::Frame configurationOf(char filling, size_t length)
{
    std::string const text(length, filling);
    ConfigPayload payload;
    payload.apiMode = payload.language = payload.portalUrl = payload.auxText1 = payload.auxText2 = text;
    return {IPC_PAYLOAD_RAW, IPC_BROWSER_CONFIG, payload.bytes()};
}

/// Every configuration differs from the one before.
void configure(zelobox::Listener& listener, Shared& shared, size_t length)
{
    zelobox::Connection client = acceptConfigured(listener);
    zelobox::Frame const configurations[] = {configurationOf('a', length), configurationOf('b', length)};
    int const count = 300;
    Clock::time_point begin;
    for (int i = -20; i < count; ++i) {
        if (i == 0) {
            begin = Clock::now();
        }
        client.send(configurations[i & 1]);
        for (int answer = 0; answer < 3; ++answer) {
            client.receive();
        }
    }
    shared.nsPerConfiguration = millisecondsSince(begin) * 1e6 / count;
}

void beConfigured(LoadedLibrary& library, Shared& shared, size_t)
{
    start(library);
    waitUntil([&] { return shared.nsPerConfiguration != 0; });
    std::printf("{\"ns\": %.0f}\n", shared.nsPerConfiguration.load());
}

void ignore(zelobox::Listener& listener, Shared& shared, size_t)
{
    zelobox::Connection const client = acceptConfigured(listener);
    waitUntil([&] { return !shared.stillReading; });
    int unread = 0;
    ioctl(client.descriptor(), FIONREAD, &unread);
    shared.unread = unread;
}

void flood(LoadedLibrary& library, Shared& shared, size_t rate)
{
    auto* const request = library.function<bool()>("_Z29ZeloRequestPreviousControllerv");
    start(library);
    usleep(50000);
    unsigned long const before = residentKiB();
    size_t const count = rate / 2;
    Clock::time_point const begin = Clock::now();
    auto const interval =
        std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(1.0 / static_cast<double>(rate)));
    double longest = 0;
    for (size_t i = 0; i < count; ++i) {
        std::this_thread::sleep_until(begin + interval * i);
        Clock::time_point const pushed = Clock::now();
        request();
        longest = std::max(longest, millisecondsSince(pushed));
    }
    double const took = millisecondsSince(begin);
    shared.stillReading = false;
    waitUntil([&] { return shared.unread >= 0; });
    std::printf(
        "{\"pushed\": %zu, \"queued\": %zu, \"rate\": %.0f, \"resident_kib\": %ld, \"longest_push_us\": %.1f}\n", count,
        count - static_cast<size_t>(shared.unread) / 12, static_cast<double>(count) * 1000 / took,
        static_cast<long>(residentKiB() - before), longest * 1000);
}

struct Work {
    char const* name;
    void (*host)(LoadedLibrary&, Shared&, size_t);
    void (*peer)(zelobox::Listener&, Shared&, size_t);
};

int run(char const* path, char const* name, size_t argument)
{
    static Work const works[] = {
        {"start", startAndStop, serveAlways},
        {"rest", nullptr, serveAlways},
        {"config", beConfigured, configure},
        {"stalled", flood, ignore},
    };
    void* const memory = mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    Shared& shared = *new (memory) Shared;
    zelobox::Listener listener;
    for (Work const& work : works) {
        if (std::strcmp(work.name, name) != 0) {
            continue;
        }
        if (fork() == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            work.peer(listener, shared, argument);
            pause();
        }
        if (work.host == nullptr) {
            rest(path, argument);
        }
        LoadedLibrary library(path);
        work.host(library, shared, argument);
        std::fflush(stdout);
        _exit(0);
    }
    std::fprintf(stderr, "library_life: there is no work '%s'\n", name);
    return 2;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 4) {
        std::fprintf(stderr, "usage: %s LIBRARY start|rest|config|stalled NUMBER\n", argv[0]);
        return 2;
    }
    return run(argv[1], argv[2], static_cast<size_t>(std::atoll(argv[3])));
}
