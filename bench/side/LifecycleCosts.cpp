// The library's costs beside its messages, each printed as a line of JSON.
//
// lifecycle_costs LIBRARY start COUNT      starts and stops, in milliseconds
// lifecycle_costs LIBRARY rest SECONDS     wake-ups and memory of a process at rest
// lifecycle_costs LIBRARY config LENGTH    nanoseconds for a configuration with texts of this length, and its answers
// lifecycle_costs LIBRARY stalled RATE     queue and memory after half a second of requests that nobody reads
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

#include "testkit/ConfigPayload.h"
#include "testkit/HostStandIn.h"
#include "testkit/LoadedLibrary.h"
#include "testkit/Middleware.h"
#include "testkit/Process.h"
#include "testkit/Wait.h"

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

void await(std::function<bool()> const& condition)
{
    if (!timely::eventually(condition, std::chrono::minutes(5))) {
        std::fprintf(stderr, "lifecycle_costs: the other process does not answer\n");
        _exit(2);
    }
}

void acceptConfigured(Middleware& middleware)
{
    middleware.acceptClient(zelobox::Milliseconds(30000));
    middleware.configure();
}

void start(LoadedLibrary const& library)
{
    library.start({});
}

void serveAlways(Middleware& middleware, Shared&, size_t)
{
    for (;;) {
        acceptConfigured(middleware);
        middleware.link().waitForClose(zelobox::Milliseconds(60000));
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

void rest(char const* path, size_t seconds)
{
    residentKiB(); // the streams' own memory
    libraryWaits();
    long const before = residentKiB();
    LoadedLibrary library(path);
    long const loaded = residentKiB();
    start(library);
    sleep(1); // the answers have been sent
    long const started = residentKiB();
    unsigned long const waited = libraryWaits();
    sleep(static_cast<unsigned>(seconds));
    std::printf("{\"wakeups_per_second\": %.2f, \"resident_loaded_kib\": %ld, \"resident_started_kib\": %ld}\n",
                static_cast<double>(libraryWaits() - waited) / static_cast<double>(seconds), loaded - before,
                started - before);
    std::fflush(stdout);
    _exit(0);
}

zelobox::Frame configurationOf(char filling, size_t length)
{
    return {IPC_PAYLOAD_RAW, IPC_BROWSER_CONFIG, configOfText(std::string(length, filling)).bytes()};
}

/// Every configuration differs from the one before.
void configure(Middleware& middleware, Shared& shared, size_t length)
{
    acceptConfigured(middleware);
    zelobox::Frame const configurations[] = {configurationOf('a', length), configurationOf('b', length)};
    int const count = 300;
    Clock::time_point begin;
    for (int i = -20; i < count; ++i) {
        if (i == 0) {
            begin = Clock::now();
        }
        middleware.send(configurations[i & 1]);
        for (int answer = 0; answer < 3; ++answer) {
            middleware.receive();
        }
    }
    shared.nsPerConfiguration = millisecondsSince(begin) * 1e6 / count;
}

void beConfigured(LoadedLibrary& library, Shared& shared, size_t)
{
    start(library);
    await([&] { return shared.nsPerConfiguration != 0; });
    std::printf("{\"ns\": %.0f}\n", shared.nsPerConfiguration.load());
}

void ignore(Middleware& middleware, Shared& shared, size_t)
{
    acceptConfigured(middleware);
    await([&] { return !shared.stillReading; });
    int unread = 0;
    ioctl(middleware.link().descriptor(), FIONREAD, &unread);
    shared.unread = unread;
}

void flood(LoadedLibrary& library, Shared& shared, size_t rate)
{
    auto* const request = library.function<bool()>("_Z29ZeloRequestPreviousControllerv");
    start(library);
    usleep(50000);
    long const before = residentKiB();
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
    await([&] { return shared.unread >= 0; });
    std::printf(
        "{\"pushed\": %zu, \"queued\": %zu, \"rate\": %.0f, \"resident_kib\": %ld, \"longest_push_us\": %.1f}\n", count,
        count - static_cast<size_t>(shared.unread) / 12, static_cast<double>(count) * 1000 / took,
        residentKiB() - before, longest * 1000);
}

struct Workload {
    char const* name;
    void (*host)(LoadedLibrary&, Shared&, size_t);
    void (*peer)(Middleware&, Shared&, size_t);
};

int run(char const* path, char const* name, size_t argument)
{
    static Workload const workloads[] = {
        {"start", startAndStop, serveAlways},
        {"rest", nullptr, serveAlways},
        {"config", beConfigured, configure},
        {"stalled", flood, ignore},
    };
    void* const memory = mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    Shared& shared = *new (memory) Shared;
    standin::setLogging(standin::Logging::Dropped);
    Middleware middleware;
    for (Workload const& workload : workloads) {
        if (std::strcmp(workload.name, name) != 0) {
            continue;
        }
        if (fork() == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            workload.peer(middleware, shared, argument);
            pause();
        }
        if (workload.host == nullptr) {
            rest(path, argument);
        }
        LoadedLibrary library(path);
        workload.host(library, shared, argument);
        std::fflush(stdout);
        _exit(0);
    }
    std::fprintf(stderr, "lifecycle_costs: there is no workload '%s'\n", name);
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
