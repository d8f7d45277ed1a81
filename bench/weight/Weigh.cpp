// Starts the library in a process that has nothing else to do, against a middleware that says nothing after the
// configuration, and prints what the library costs at rest as JSON: heap, stacks, wake-ups.
//
//     weigh LIBRARY [SECONDS]
#include <malloc.h>
#include <pthread.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>

#include "testkit/HostStandIn.h"
#include "testkit/Interpose.h"
#include "testkit/LoadedLibrary.h"
#include "bench/weight/Malloc.h"
#include "testkit/Middleware.h"
#include "testkit/Process.h"

namespace {

std::atomic<bool> counting{false};
std::atomic<size_t> live{0};
std::atomic<size_t> peak{0};
std::atomic<pthread_t> started[4];
std::atomic<size_t> startedCount{0};

void count(void* block)
{
    if (counting) {
        size_t const now = live += malloc_usable_size(block);
        size_t seen = peak;
        while (seen < now && !peak.compare_exchange_weak(seen, now)) {
        }
    }
}

void discount(void* block)
{
    if (counting) {
        live -= malloc_usable_size(block);
    }
}

mallocs::Observer const observer = {&count, &discount};

using Thread = int(pthread_t*, pthread_attr_t const*, void* (*)(void*), void*);

/// Remembers the library's threads.
int create(pthread_t* handle, pthread_attr_t const* attributes, void* (*body)(void*), void* argument)
{
    int const result = interpose::pthread_create.real(handle, attributes, body, argument);
    if (result == 0 && counting) {
        started[startedCount++ % 4] = *handle;
    }
    return result;
}

} // namespace

namespace {

/// How deep a thread's stack has been: a new stack is all zero.
size_t depthOf(pthread_t thread)
{
    pthread_attr_t attributes;
    void* lowest = nullptr;
    size_t size = 0;
    if (pthread_getattr_np(thread, &attributes) != 0) {
        return 0;
    }
    pthread_attr_getstack(&attributes, &lowest, &size);
    pthread_attr_destroy(&attributes);
    char const* const begin = static_cast<char const*>(lowest);
    size_t untouched = 0;
    while (untouched < size && begin[untouched] == 0) {
        ++untouched;
    }
    return size - untouched;
}

/// The other process: configures its client, tells when the client has said all that it has to say, and keeps the
/// connection until the client ends it.
void serve(Middleware& middleware, int atRest)
{
    middleware.acceptClient(Middleware::Milliseconds(30000));
    middleware.configure();
    static_cast<void>(!write(atRest, "", 1));
    middleware.link().waitForClose(Middleware::Milliseconds(120000));
}

int weigh(char const* path, unsigned seconds, int atRest)
{
    LoadedLibrary library(path);
    interpose::Takeover<Thread> const creating(interpose::pthread_create, &create, interpose::Threads::All);
    mallocs::observe(&observer);
    counting = true;
    library.start({});
    char byte;
    if (read(atRest, &byte, 1) != 1) {
        std::fprintf(stderr, "weigh: the middleware gave up\n");
        return 2;
    }
    size_t const heapAtRest = live;
    counting = false;
    unsigned long const before = libraryWaits();
    sleep(seconds);
    unsigned long const after = libraryWaits();
    size_t const depths[] = {depthOf(started[0]), depthOf(started[1])};
    std::printf("{\"threads\": %zu, \"heap_at_rest\": %zu, \"heap_peak\": %zu, \"stack_client\": %zu, "
                "\"stack_sender\": %zu, \"wakeups_per_second\": %.1f}\n",
                startedCount.load(), heapAtRest, peak.load(), depths[0], depths[1],
                static_cast<double>(after - before) / seconds);
    library.stop();
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc < 2) {
        std::fprintf(stderr, "usage: %s LIBRARY [SECONDS]\n", argv[0]);
        return 2;
    }
    standin::setLogging(standin::Logging::Dropped);
    Middleware middleware;
    int rest[2];
    if (pipe(rest) != 0) {
        return 2;
    }
    pid_t const peer = fork();
    if (peer == 0) {
        close(rest[0]);
        serve(middleware, rest[1]);
        _exit(0);
    }
    close(rest[1]);
    int const result = weigh(argv[1], argc > 2 ? static_cast<unsigned>(std::atoi(argv[2])) : 10, rest[0]);
    kill(peer, SIGTERM);
    waitpid(peer, nullptr, 0);
    return result;
}
