#include "bench/side/Workloads.h"

#include <sys/mman.h>
#include <sys/resource.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <new>
#include <thread>
#include <vector>

#include "testkit/Wait.h"

namespace {

uint64_t nanoseconds(clockid_t clock)
{
    timespec now;
    clock_gettime(clock, &now);
    return static_cast<uint64_t>(now.tv_sec) * 1000000000U + static_cast<uint64_t>(now.tv_nsec);
}

uint64_t now()
{
    return nanoseconds(CLOCK_MONOTONIC);
}

void sleepMs(size_t ms)
{
    usleep(static_cast<useconds_t>(ms) * 1000);
}

size_t messagesOf(Options const& options)
{
    return options.count != 0 ? options.count : contender.outboundMessages * options.ms / 150;
}

/// A lone message comes each millisecond.
class Beat {
public:
    void wait()
    {
        next += 1000000;
        timespec const at = {static_cast<time_t>(next / 1000000000U), static_cast<long>(next % 1000000000U)};
        clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &at, nullptr);
    }

private:
    uint64_t next = now();
};

void printTimes(uint64_t* times, size_t count)
{
    std::sort(times, times + count);
    std::printf("{\"p50\": %llu, \"p99\": %llu, \"max\": %llu}\n", static_cast<unsigned long long>(times[count / 2]),
                static_cast<unsigned long long>(times[count * 99 / 100]),
                static_cast<unsigned long long>(times[count - 1]));
}

void printRate(uint64_t time, uint64_t cpu, uint64_t count)
{
    std::printf("{\"ns\": %.2f, \"cpu_ns\": %.2f}\n", static_cast<double>(time) / static_cast<double>(count),
                static_cast<double>(cpu) / static_cast<double>(count));
}

/// Measures between two messages, so that none is counted in part.
class Meter {
public:
    enum Phase { WarmUp, Begin, Running, End, Done };

    void message()
    {
        ++messages;
        Phase const current = phase.load(std::memory_order_relaxed);
        if (current == Begin) {
            note(-1);
            phase = Running;
        } else if (current == End) {
            note(1);
            phase = Done;
        }
    }

    void print() const { printRate(time, cpu, count); }

    std::atomic<Phase> phase{WarmUp};

private:
    void note(int sign)
    {
        uint64_t const factor = static_cast<uint64_t>(sign);
        time += factor * now();
        cpu += factor * nanoseconds(CLOCK_PROCESS_CPUTIME_ID);
        count += factor * messages;
    }

    uint64_t messages = 0;
    uint64_t time = 0;
    uint64_t cpu = 0;
    uint64_t count = 0;
};

void receiveAtFullSpeed(Host& host, Shared& shared, Options const& options)
{
    static Meter meter; // messages go on coming
    host.start([] { meter.message(); });
    shared.go = true;
    sleepMs(30);
    meter.phase = Meter::Begin;
    await([] { return meter.phase == Meter::Running; });
    sleepMs(options.ms);
    meter.phase = Meter::End;
    await([] { return meter.phase == Meter::Done; });
    meter.print();
}

void sendAtFullSpeed(Peer& peer, Shared& shared, Options const& options)
{
    await([&] { return shared.go.load(); });
    for (;;) {
        peer.sendMany(options.size);
    }
}

size_t const unmeasured = 20; // of lone messages: until the caches and the link are warm

void receiveLone(Host& host, Shared& shared, Options const& options)
{
    std::atomic<size_t> received{0};
    host.start([&] {
        size_t const index = received.load(std::memory_order_relaxed);
        shared.took[index] = now() - shared.sentAt[index];
        received = index + 1;
    });
    shared.go = true;
    size_t const count = options.ms + unmeasured;
    await([&] { return received == count; });
    printTimes(shared.took + unmeasured, options.ms);
}

template <bool Apart> void sendLone(Peer& peer, Shared& shared, Options const& options)
{
    await([&] { return shared.go.load(); });
    Beat beat;
    for (size_t i = 0; i < options.ms + unmeasured; ++i) {
        beat.wait();
        shared.sentAt[i] = now();
        peer.sendOne(Apart);
    }
}

void awaitLink(Host& host, Shared& shared)
{
    host.start(nullptr);
    host.push();
    await([&] { return shared.messages != 0; });
}

void receiveAll(Peer& peer, Shared& shared, Options const& options)
{
    size_t const count = messagesOf(options) / options.threads * options.threads + 1;
    for (size_t i = 1; i <= count; ++i) {
        peer.receive();
        if (i == count) {
            shared.doneAt = now();
        }
        shared.messages.store(i, std::memory_order_release);
    }
}

/// Each thread's share of the pushes.
template <typename Push> void pushFromThreads(Options const& options, Push push)
{
    size_t const share = messagesOf(options) / options.threads;
    std::vector<std::thread> threads;
    for (size_t t = 0; t < options.threads; ++t) {
        threads.emplace_back([=] {
            for (size_t i = 0; i < share; ++i) {
                push(t * share + i);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

void pushAtFullSpeed(Host& host, Shared& shared, Options const& options)
{
    awaitLink(host, shared);
    uint64_t const begin = now();
    uint64_t const cpu = nanoseconds(CLOCK_PROCESS_CPUTIME_ID);
    pushFromThreads(options, [&](size_t) { host.push(); });
    await([&] { return shared.doneAt != 0; });
    printRate(shared.doneAt - begin, nanoseconds(CLOCK_PROCESS_CPUTIME_ID) - cpu,
              messagesOf(options) / options.threads * options.threads);
}

/// How long each push takes its caller. With a window no more than so many messages are on the way, as if the host had
/// its own reasons to push no faster than the link carries.
template <size_t Window> void pushAndTime(Host& host, Shared& shared, Options const& options)
{
    awaitLink(host, shared);
    std::atomic<size_t> pushed{0};
    pushFromThreads(options, [&](size_t index) {
        while (Window != 0 && pushed > shared.messages + Window) {
            std::this_thread::yield();
        }
        ++pushed;
        uint64_t const begin = now();
        host.push();
        shared.took[index] = now() - begin;
    });
    printTimes(shared.took, messagesOf(options) / options.threads * options.threads);
}

void pushPaced(Host& host, Shared& shared, Options const& options)
{
    awaitLink(host, shared);
    Beat beat;
    for (size_t i = 0; i < messagesOf(options); ++i) {
        beat.wait();
        uint64_t const begin = now();
        host.push();
        shared.took[i] = now() - begin;
    }
    printTimes(shared.took, messagesOf(options));
}

void receiveNothing(Peer& peer, Shared& shared, Options const&)
{
    peer.receive();
    shared.messages = 1;
}

void pushLone(Host& host, Shared& shared, Options const& options)
{
    awaitLink(host, shared);
    size_t const count = options.ms + unmeasured;
    Beat beat;
    for (size_t i = 0; i < count; ++i) {
        beat.wait();
        shared.sentAt[i] = now();
        host.push();
    }
    await([&] { return shared.messages == count + 1; });
    printTimes(shared.took + unmeasured, options.ms);
}

void receiveAndTime(Peer& peer, Shared& shared, Options const& options)
{
    peer.receive();
    shared.messages = 1;
    for (size_t i = 0; i < options.ms + unmeasured; ++i) {
        peer.receive();
        shared.took[i] = now() - shared.sentAt[i];
        shared.messages = i + 2;
    }
}

Workload const workloads[] = {
    {"inbound", Handover::None, receiveAtFullSpeed, sendAtFullSpeed},
    {"lone-apart", Handover::None, receiveLone, sendLone<true>},
    {"lone-whole", Handover::None, receiveLone, sendLone<false>},
    {"outbound", Handover::None, pushAtFullSpeed, receiveAll},
    {"push", Handover::None, pushAndTime<1000>, receiveAll},
    {"push-flood", Handover::None, pushAndTime<0>, receiveAll},
    {"push-paced", Handover::None, pushPaced, receiveAll},
    {"push-stalled", Handover::None, pushAndTime<0>, receiveNothing},
    {"request", Handover::Thread, pushLone, receiveAndTime},
};

} // namespace

void await(std::function<bool()> const& condition)
{
    require(timely::eventually(condition, std::chrono::minutes(5)), "a wait for the other process");
}

Shared& makeShared()
{
    void* const memory = mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    require(memory != MAP_FAILED, "mmap");
    return *new (memory) Shared();
}

Workload const* findWorkload(std::string const& name)
{
    auto const found = std::find_if(std::begin(workloads), std::end(workloads),
                                    [&](Workload const& workload) { return workload.name == name; });
    return found != std::end(workloads) ? found : nullptr;
}
