// A living room in fast motion: soak [minutes] [storm]. Frames both ways, drops, configuration and language changes,
// host threads that ask and make requests, starts and stops; a line of figures every few seconds, and at the end
// whether the process is what it was.
#include <malloc.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <memory>
#include <random>
#include <thread>

#include "cobalt/ZeloCobalt.h"
#include "src/ipc/IPCMessage.h"
#include "testkit/ConfigPayload.h"
#include "testkit/HostStandIn.h"
#include "testkit/Middleware.h"
#include "testkit/Process.h"
#include "testkit/Wait.h"

namespace {

using Clock = std::chrono::steady_clock;
using timely::Milliseconds;

struct Tally {
    std::atomic<unsigned long> sent{0};
    std::atomic<unsigned long> received{0};
    std::atomic<unsigned long> connections{0};
    std::atomic<unsigned long> starts{0};
    std::atomic<unsigned long> queries{0};
    std::atomic<unsigned long> requests{0};
    std::atomic<unsigned long> events{0};
    std::atomic<long> slowestStopMs{0};
};

Tally tally;
std::atomic<bool> hostDone{false}; // first, so that a last start gets its configuration
std::atomic<bool> done{false};

std::vector<char> someConfiguration(std::mt19937& random)
{
    return configOfText(std::string(random() % 100, static_cast<char>('a' + random() % 26))).bytes();
}

/// Serves one client until it is gone or has had enough.
void serve(zelobox::Connection& client, std::mt19937& random)
{
    size_t const frames = 1 + random() % 400;
    for (size_t sent = 0; sent < frames && !done;) {
        while (!client.isSilentFor(Milliseconds(0))) {
            ++tally.received;
            if (client.receive().type == IPC_CONFIG_REQUEST) {
                client.send({IPC_PAYLOAD_RAW, IPC_BROWSER_CONFIG, someConfiguration(random)});
            }
        }
        switch (random() % 8) {
        case 0:
            client.send(zelobox::frameOf(IPCMessageSimpleString(IPC_APP_LIFECYCLE, "onpause")));
            break;
        case 1:
            client.send({IPC_PAYLOAD_RAW, IPC_BROWSER_CONFIG, someConfiguration(random)});
            break;
        case 2:
            client.send({IPC_PAYLOAD_RAW, IPC_PLAYER_MEDIA_INFO, std::vector<char>(random() % 40)});
            break;
        case 3:
            client.send(zelobox::frameOf(IPCMessageUnsignedInt(IPC_VOLUME, static_cast<uint32_t>(random()))));
            break;
        default:
            client.send(zelobox::frameOf(IPCMessageUnsignedInt(IPC_REMOTE_KEY, 1)));
        }
        ++sent;
        ++tally.sent;
    }
}

void serveClients()
{
    std::mt19937 random(1);
    Middleware middleware;
    while (!done) {
        try {
            middleware.accept(Milliseconds(100));
            ++tally.connections;
            serve(middleware.link(), random);
        } catch (zelobox::PeerError const&) {
        }
    }
}

void queries()
{
    std::string text;
    unsigned first = 0;
    unsigned second = 0;
    bool muted = false;
    Capabilities capabilities;
    while (!done) {
        ZeloGetEnv(ZeloEnvLanguage, text);
        ZeloGetVolume(first, muted);
        ZeloGetDisplaySize(first, second);
        ZeloGetUISize(first, second);
        ZeloGetCapabilities(capabilities);
        tally.queries += 5;
        usleep(500);
    }
}

void requests()
{
    while (!done) {
        ZeloSetVideoWindow(1, 2, 3, 4);
        ZeloRequestPreviousController();
        tally.requests += 2;
        usleep(500);
    }
}

void onEvent()
{
    ++tally.events;
    ZeloSetVideoWindow(0, 0, 0, 0);
}

/// Starts and stops, the shorter the more.
void host(unsigned longestMs)
{
    std::mt19937 random(2);
    while (!hostDone) {
        ZeloStartApp({[](SbKey, uint8_t) { ++tally.events; }, onEvent, onEvent, onEvent});
        ++tally.starts;
        std::this_thread::sleep_for(Milliseconds(random() % longestMs));
        tally.slowestStopMs = std::max<long>(tally.slowestStopMs, timely::timeOf(&ZeloStopApp).count());
    }
}

void printFigures(long minutes, Clock::time_point begin)
{
    double const seconds = std::chrono::duration<double>(Clock::now() - begin).count();
    printf("%6.0f of %ld s: %.0f frames/s, %lu in, %lu out, %lu connections, %lu starts, %lu queries, RSS %ld KiB, "
           "%d descriptors, slowest stop %ld ms\n",
           seconds, minutes * 60, static_cast<double>(tally.sent + tally.received) / seconds, tally.sent.load(),
           tally.received.load(), tally.connections.load(), tally.starts.load(), tally.queries.load(), residentKiB(),
           openDescriptors(), tally.slowestStopMs.load());
    fflush(stdout);
}

} // namespace

int main(int argc, char** argv)
{
    long const minutes = argc > 1 ? strtol(argv[1], nullptr, 10) : 1;
    bool const storm = argc > 2 && strcmp(argv[2], "storm") == 0;
    if (minutes < 1) {
        fprintf(stderr, "Usage: soak [minutes] [storm]\n  storm  start and stop as fast as it goes\n");
        return 2;
    }
    // Each of many short threads may get an arena of its own, whose holes would look like a leak.
    mallopt(M_ARENA_MAX, 1);
    standin::setLogging(standin::Logging::Formatted);
    int const descriptorsBefore = openDescriptors();
    auto const begin = Clock::now();
    std::vector<std::thread> threads;
    threads.emplace_back(serveClients);
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back(queries);
        threads.emplace_back(requests);
    }
    std::thread starter(host, storm ? 20 : 2000);
    long warm = 0;
    while (Clock::now() - begin < std::chrono::minutes(minutes)) {
        std::this_thread::sleep_for(std::chrono::seconds(5));
        warm = warm == 0 ? residentKiB() : warm; // what the first seconds have set up does not grow any more
        printFigures(minutes, begin);
    }
    hostDone = true;
    starter.join();
    done = true;
    for (std::thread& thread : threads) {
        thread.join();
    }
    long const after = residentKiB();
    printf("RSS %ld KiB after 5 s, %ld KiB at the end; descriptors %d and %d\n", warm, after, descriptorsBefore,
           openDescriptors());
    bool const flat = after - warm < memoryLimit(4 * 1024);
    bool const good = openDescriptors() == descriptorsBefore && flat && tally.slowestStopMs < 2000 &&
                      tally.starts > 1 && tally.connections > 1 && tally.events > 0;
    puts(good ? "passed" : "FAILED");
    return good ? 0 : 1;
}
