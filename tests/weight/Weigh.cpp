// Starts the library in a process that has nothing else to do, against a middleware that says nothing after the
// configuration, and prints what the library costs at rest as JSON: heap, stacks, wake-ups.
//
//     weigh LIBRARY [SECONDS]
#include <dirent.h>
#include <dlfcn.h>
#include <malloc.h>
#include <pthread.h>
#include <signal.h>
#include <string.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "cobalt/ZeloCobalt.h"
#include "zelobox/protocol/Peer.h"

namespace {

std::atomic<bool> counting{false};
std::atomic<size_t> live{0};
std::atomic<size_t> peak{0};
std::atomic<pthread_t> started[4];
std::atomic<size_t> startedCount{0};

void count(void* block)
{
    if (counting && block != nullptr) {
        size_t const now = live += malloc_usable_size(block);
        size_t seen = peak;
        while (seen < now && !peak.compare_exchange_weak(seen, now)) {
        }
    }
}

void discount(void* block)
{
    if (counting && block != nullptr) {
        live -= malloc_usable_size(block);
    }
}

} // namespace

extern "C" {

void* __libc_malloc(size_t size);
void* __libc_calloc(size_t number, size_t size);
void* __libc_realloc(void* block, size_t size);
void __libc_free(void* block);

void* malloc(size_t size)
{
    void* const block = __libc_malloc(size);
    count(block);
    return block;
}

void* calloc(size_t number, size_t size)
{
    void* const block = __libc_calloc(number, size);
    count(block);
    return block;
}

void* realloc(void* block, size_t size)
{
    discount(block);
    void* const grown = __libc_realloc(block, size);
    count(grown);
    return grown;
}

void free(void* block)
{
    discount(block);
    __libc_free(block);
}

int pthread_create(pthread_t* handle, pthread_attr_t const* attributes, void* (*body)(void*), void* argument)
{
    typedef int (*Create)(pthread_t*, pthread_attr_t const*, void* (*)(void*), void*);
    static Create const create = reinterpret_cast<Create>(dlsym(RTLD_NEXT, "pthread_create"));
    int const result = create(handle, attributes, body, argument);
    if (result == 0 && counting) {
        started[startedCount++ % 4] = *handle;
    }
    return result;
}
}

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

/// The sum over the library's threads of how often each has given up its processor to wait.
unsigned long waits()
{
    unsigned long sum = 0;
    DIR* const tasks = opendir("/proc/self/task");
    while (dirent const* const entry = readdir(tasks)) {
        std::string const task = std::string("/proc/self/task/") + entry->d_name;
        std::string name;
        std::ifstream(task + "/comm") >> name;
        std::ifstream status(task + "/status");
        for (std::string word; name.compare(0, 4, "ipc_") == 0 && status >> word;) {
            unsigned long number = 0;
            if (word == "voluntary_ctxt_switches:" && status >> number) {
                sum += number;
            }
        }
    }
    closedir(tasks);
    return sum;
}

/// The other process: configures its client, tells when the client has said all that it has to say, and keeps the
/// connection until the client ends it.
void serve(zelobox::Listener& listener, int atRest)
{
    zelobox::Connection client = listener.accept(zelobox::Milliseconds(30000));
    for (int handshake = 0; handshake < 3; ++handshake) {
        client.receive();
    }
    client.send({IPC_PAYLOAD_RAW, IPC_BROWSER_CONFIG, std::vector<char>(32)});
    for (int answer = 0; answer < 3; ++answer) {
        client.receive();
    }
    static_cast<void>(!write(atRest, "", 1));
    client.waitForClose(zelobox::Milliseconds(120000));
}

template <typename Function> Function find(void* library, char const* name)
{
    void* const symbol = dlsym(library, name);
    if (symbol == nullptr) {
        std::fprintf(stderr, "weigh: %s\n", dlerror());
        std::exit(2);
    }
    return reinterpret_cast<Function>(symbol);
}

int weigh(char const* path, unsigned seconds, int atRest)
{
    void* const library = dlopen(path, RTLD_NOW);
    if (library == nullptr) {
        std::fprintf(stderr, "weigh: %s\n", dlerror());
        return 2;
    }
    auto const start = find<void (*)(ZeloCallbacks const&)>(library, "_Z12ZeloStartAppRK13ZeloCallbacks");
    auto const stop = find<void (*)()>(library, "_Z11ZeloStopAppv");
    counting = true;
    start({});
    char byte;
    if (read(atRest, &byte, 1) != 1) {
        std::fprintf(stderr, "weigh: the middleware gave up\n");
        return 2;
    }
    size_t const heapAtRest = live;
    counting = false;
    unsigned long const before = waits();
    sleep(seconds);
    unsigned long const after = waits();
    size_t const depths[] = {depthOf(started[0]), depthOf(started[1])};
    std::printf("{\"threads\": %zu, \"heap_at_rest\": %zu, \"heap_peak\": %zu, \"stack_client\": %zu, "
                "\"stack_sender\": %zu, \"wakeups_per_second\": %.1f}\n",
                startedCount.load(), heapAtRest, peak.load(), depths[0], depths[1],
                static_cast<double>(after - before) / seconds);
    stop();
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc < 2) {
        std::fprintf(stderr, "usage: %s LIBRARY [SECONDS]\n", argv[0]);
        return 2;
    }
    zelobox::Listener listener;
    int rest[2];
    if (pipe(rest) != 0) {
        return 2;
    }
    pid_t const middleware = fork();
    if (middleware == 0) {
        close(rest[0]);
        serve(listener, rest[1]);
        _exit(0);
    }
    close(rest[1]);
    int const result = weigh(argv[1], argc > 2 ? static_cast<unsigned>(std::atoi(argv[2])) : 10, rest[0]);
    kill(middleware, SIGTERM);
    waitpid(middleware, nullptr, 0);
    return result;
}
