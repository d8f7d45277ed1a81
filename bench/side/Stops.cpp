// How long a stop takes, whether a request just before it arrives, and what a flood costs; each printed as JSON.
//
//     library_stops LIBRARY idle COUNT             stops of a connected library at rest, in milliseconds
//     library_stops LIBRARY backoff COUNT          stops of a library that finds no middleware
//     library_stops LIBRARY deaf COUNT             stops beside a peer that has not read a thousand requests
//     library_stops LIBRARY full COUNT             stops with as many requests queued as there may be
//     library_stops LIBRARY decode COUNT           stops while a list of 20 million empty texts, 100 MB, is decoded
//     library_stops LIBRARY lost COUNT [QUEUED [BUSY]]
//                                                  requests directly before a stop that have not arrived; QUEUED at
//                                                  once, with BUSY processes that never rest
//     library_stops LIBRARY flood SECONDS          a peer that sends configurations and never reads
#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <new>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "src/ipc/IPCMessage.h"
#include "testkit/HostStandIn.h"
#include "testkit/LoadedLibrary.h"
#include "testkit/Middleware.h"

namespace {

using Clock = std::chrono::steady_clock;

/// What both processes see.
struct Shared {
    std::atomic<size_t> requests{0};    ///< that have arrived
    std::atomic<size_t> connections{0}; ///< that were accepted
    std::atomic<size_t> ended{0};       ///< connections that were read to their end
};

struct Setting {
    size_t count;
    size_t queued;
    size_t busy;
};

double millisecondsSince(Clock::time_point begin)
{
    return std::chrono::duration<double, std::milli>(Clock::now() - begin).count();
}

void fork(void (*body)())
{
    if (::fork() == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        body();
        _exit(0);
    }
}

void printStops(std::vector<double> stops)
{
    std::sort(stops.begin(), stops.end());
    std::printf("{\"stop_ms\": [");
    for (size_t i = 0; i < stops.size(); ++i) {
        std::printf("%s%.2f", i == 0 ? "" : ", ", stops[i]);
    }
    std::printf("]}\n");
}

class Host {
public:
    explicit Host(char const* path) : library(path) {}

    void start() { library.start({}); }
    void stop() { library.stop(); }
    void request(size_t count)
    {
        for (size_t i = 0; i < count; ++i) {
            requestPreviousController();
        }
    }
    double timeOfStop()
    {
        Clock::time_point const begin = Clock::now();
        stop();
        return millisecondsSince(begin);
    }

private:
    LoadedLibrary library;
    bool (*const requestPreviousController)() = library.function<bool()>("_Z29ZeloRequestPreviousControllerv");
};

Middleware* middleware = nullptr;

zelobox::Connection acceptConfigured()
{
    middleware->acceptClient(zelobox::Milliseconds(60000));
    middleware->configure();
    return std::move(middleware->link());
}
Shared* shared = nullptr;

/// Reads every connection to its end.
void readAll()
{
    for (;;) {
        middleware->accept(zelobox::Milliseconds(60000));
        zelobox::Connection client = std::move(middleware->link());
        ++shared->connections;
        try {
            for (int greeting = 0; greeting < 3; ++greeting) {
                client.receive();
            }
            client.send({IPC_PAYLOAD_RAW, IPC_BROWSER_CONFIG, std::vector<char>(32)});
            // From here on a request may overtake an answer.
            for (;;) {
                shared->requests +=
                    client.receive(zelobox::Milliseconds(60000)).type == IPC_PREVIOUS_CONTROLLER ? 1 : 0;
            }
        } catch (zelobox::PeerError const&) {
            ++shared->ended;
        }
    }
}

/// Reads nothing after the first words. What is held open is closed by the end of the process.
void readNothing()
{
    std::vector<zelobox::Connection> held;
    for (;;) {
        held.push_back(acceptConfigured());
        ++shared->connections;
    }
}

/// Sends configurations, reads nothing.
void sendConfigurations()
{
    zelobox::Frame const configuration = {IPC_PAYLOAD_RAW, IPC_BROWSER_CONFIG, std::vector<char>(32)};
    std::optional<zelobox::Connection> client(acceptConfigured());
    for (;;) {
        ++shared->connections;
        try {
            for (;;) {
                client->send(configuration);
            }
        } catch (zelobox::PeerError const&) {
        }
        middleware->accept(zelobox::Milliseconds(30000));
        client.emplace(std::move(middleware->link()));
    }
}

/// Sends every client a list of 20 million empty texts.
void sendLongList()
{
    uint32_t const texts = 20000000;
    zelobox::Frame list = {IPC_PAYLOAD_STRING_ARRAY, IPC_UNHANDLED_27, std::vector<char>(4 + size_t{5} * texts)};
    for (int i = 0; i < 4; ++i) {
        list.payload[static_cast<size_t>(i)] = static_cast<char>(texts >> (24 - 8 * i));
    }
    for (;;) {
        zelobox::Connection client = acceptConfigured();
        try {
            client.send(list, zelobox::Milliseconds(60000));
            ++shared->connections;
            client.waitForClose(zelobox::Milliseconds(60000));
        } catch (zelobox::PeerError const&) {
        }
    }
}

void burn()
{
    for (volatile unsigned long turns = 0;; turns = turns + 1) {
    }
}

void stopAtRest(Host& host, Setting const& setting)
{
    std::vector<double> stops;
    for (size_t i = 0; i < setting.count; ++i) {
        host.start();
        usleep(static_cast<useconds_t>(i * 37000 % 200000)); // the threads have waited for another time each time
        stops.push_back(host.timeOfStop());
    }
    printStops(stops);
}

void stopInBackOff(Host& host, Setting const& setting)
{
    std::vector<double> stops;
    for (size_t i = 0; i < setting.count; ++i) {
        std::thread waiting([&] { host.start(); });
        usleep(20000 + static_cast<useconds_t>(i * 37000 % 200000));
        stops.push_back(host.timeOfStop());
        waiting.join();
    }
    printStops(stops);
}

void stopInDecoding(Host& host, Setting const& setting)
{
    std::vector<double> stops;
    for (size_t i = 0; i < setting.count; ++i) {
        host.start();
        while (shared->connections == i) {
            usleep(1000);
        }
        usleep(10000 + static_cast<useconds_t>(i * 37000 % 200000)); // the last bytes are in, the decoding has begun
        stops.push_back(host.timeOfStop());
    }
    printStops(stops);
}

void stopWithQueue(Host& host, Setting const& setting, size_t queued)
{
    std::vector<double> stops;
    for (size_t i = 0; i < setting.count; ++i) {
        host.start();
        host.request(queued);
        usleep(20000);
        stops.push_back(host.timeOfStop());
    }
    printStops(stops);
}

void stopBesideDeaf(Host& host, Setting const& setting)
{
    stopWithQueue(host, setting, 1000);
}

void stopWithFullQueue(Host& host, Setting const& setting)
{
    stopWithQueue(host, setting, 131000);
}

/// Every second stop comes from another thread than the requests.
void loseRequests(Host& host, Setting const& setting)
{
    for (size_t i = 0; i < setting.busy; ++i) {
        fork(&burn);
    }
    std::vector<double> stops;
    for (size_t i = 0; i < setting.count; ++i) {
        host.start();
        host.request(setting.queued);
        if (i % 2 == 0) {
            stops.push_back(host.timeOfStop());
        } else {
            std::thread([&] { stops.push_back(host.timeOfStop()); }).join();
        }
    }
    Clock::time_point const begin = Clock::now();
    while (shared->ended < setting.count && millisecondsSince(begin) < 10000) {
        usleep(1000);
    }
    std::sort(stops.begin(), stops.end());
    std::printf(
        "{\"stops\": %zu, \"requests\": %zu, \"lost\": %zd, \"median_stop_ms\": %.2f, \"longest_stop_ms\": %.2f}\n",
        setting.count, setting.count * setting.queued,
        static_cast<ssize_t>(setting.count * setting.queued - shared->requests), stops[stops.size() / 2], stops.back());
}

long residentKiB()
{
    std::ifstream file("/proc/self/statm");
    long total = 0;
    long resident = 0;
    file >> total >> resident;
    return resident * (sysconf(_SC_PAGESIZE) / 1024);
}

void beFlooded(Host& host, Setting const& setting)
{
    residentKiB(); // the stream's own memory
    host.start();
    long const before = residentKiB();
    long most = 0;
    Clock::time_point const begin = Clock::now();
    while (millisecondsSince(begin) < static_cast<double>(setting.count) * 1000) {
        usleep(10000);
        most = std::max(most, residentKiB() - before);
    }
    size_t const connections = shared->connections;
    std::printf("{\"seconds\": %zu, \"connections\": %zu, \"growth_kib\": %ld, \"stop_ms\": %.2f}\n", setting.count,
                connections, most, host.timeOfStop());
}

struct Work {
    char const* name;
    void (*host)(Host&, Setting const&);
    void (*peer)();
};

Work const works[] = {
    {"idle", &stopAtRest, &readAll},
    {"backoff", &stopInBackOff, nullptr},
    {"deaf", &stopBesideDeaf, &readNothing},
    {"full", &stopWithFullQueue, &readNothing},
    {"decode", &stopInDecoding, &sendLongList},
    {"lost", &loseRequests, &readAll},
    {"flood", &beFlooded, &sendConfigurations},
};

int run(char const* path, char const* name, Setting const& setting)
{
    void* const memory = mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    shared = new (memory) Shared;
    for (Work const& work : works) {
        if (std::strcmp(work.name, name) == 0) {
            if (work.peer != nullptr) {
                middleware = new Middleware;
                fork(work.peer);
            }
            Host host(path);
            work.host(host, setting);
            std::fflush(stdout);
            _exit(0);
        }
    }
    std::fprintf(stderr, "library_stops: there is no work '%s'\n", name);
    return 2;
}

size_t numberAt(int argc, char** argv, int index, size_t otherwise)
{
    return index < argc ? static_cast<size_t>(std::atoll(argv[index])) : otherwise;
}

} // namespace

int main(int argc, char** argv)
{
    standin::setLogging(standin::Logging::Dropped);
    if (argc < 4) {
        std::fprintf(stderr, "usage: %s LIBRARY idle|backoff|deaf|full|decode|lost|flood NUMBER [QUEUED [BUSY]]\n",
                     argv[0]);
        return 2;
    }
    return run(argv[1], argv[2], {numberAt(argc, argv, 3, 1), numberAt(argc, argv, 4, 1), numberAt(argc, argv, 5, 0)});
}
