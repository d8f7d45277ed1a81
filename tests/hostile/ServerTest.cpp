// A middleware that does not behave as a server should.
#include <signal.h>
#include <stdio.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <thread>

#include "cobalt/ZeloCobalt.h"
#include "testkit/QuietHost.h"
#include "tests/hostile/Rig.h"

using namespace rig;

namespace {

using HostileServer = Started;

/// Connects to the server without being served.
zelobox::Descriptor idleClient()
{
    zelobox::Descriptor client(socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    strncpy(address.sun_path, zelobox::defaultSocketPath, sizeof address.sun_path - 1);
    if (connect(client.get(), reinterpret_cast<sockaddr const*>(&address), sizeof address) != 0) {
        client.reset();
    }
    return client;
}

/// A server process that floods every client with keys; it only makes system calls.
pid_t forkServer(int listener, std::vector<char> const& keyBytes)
{
    pid_t const pid = fork();
    if (pid == 0) {
        // A host that requests without a pause may have ended a connection before it is accepted.
        for (;;) {
            int const client = accept(listener, nullptr, nullptr);
            char ignored[4096];
            do {
                static_cast<void>(!recv(client, ignored, sizeof ignored, MSG_DONTWAIT));
            } while (send(client, keyBytes.data(), keyBytes.size(), MSG_NOSIGNAL) > 0);
            close(client);
        }
    }
    return pid;
}

} // namespace

TEST_F(HostileServer, AcceptingAndDroppingIsNoStorm)
{
    connection.close();
    auto const processorBefore = processorTime();
    auto const begin = Clock::now();
    int count = 0;
    while (since(begin) < Milliseconds(3000)) {
        listener.accept().close();
        ++count;
    }
    auto const seconds = static_cast<double>(since(begin).count()) / 1000;
    auto const used = processorTime() - processorBefore;
    printf("accept and drop: %.1f connections a second, %.1f ms processor time a second\n", count / seconds,
           static_cast<double>(used.count()) / seconds);
    // Sixteen are forgiven, and one each slice of 200 ms follows.
    EXPECT_LE(count, 17 + static_cast<int>(seconds * 5));
    EXPECT_GE(count, 3);
    connection = acceptClient();
    proveAlive();
}

TEST_F(HostileServer, TheFirstReconnectAfterADropIsAtOnce)
{
    Milliseconds best(10000);
    for (int i = 0; i < 10; ++i) {
        connection.sendBytes(keyFrame());
        auto const begin = Clock::now();
        connection.close();
        connection = acceptClient();
        best = std::min(best, since(begin));
    }
    printf("reconnect after a drop: %lld ms\n", static_cast<long long>(best.count()));
    EXPECT_LT(best, Milliseconds(150)); // less than a slice of the back-off
}

TEST_F(HostileServer, ADropWithoutAFrameIsForgivenOnce)
{
    connection.sendBytes(keyFrame());
    connection.close();
    connection = acceptClient();
    auto const begin = Clock::now();
    connection.close();
    connection = acceptClient();
    EXPECT_LT(since(begin), Milliseconds(150));
}

TEST_F(HostileServer, DropsAfterAFrameAreServedAsTheyCome)
{
    auto const processorBefore = processorTime();
    auto const begin = Clock::now();
    int count = 0;
    while (since(begin) < Milliseconds(2000)) {
        connection.sendBytes(volumeFrame(1));
        connection.close();
        connection = acceptClient();
        ++count;
    }
    auto const seconds = static_cast<double>(since(begin).count()) / 1000;
    printf("drop after a frame: %.1f connections a second, %.1f ms processor time a second\n", count / seconds,
           static_cast<double>((processorTime() - processorBefore).count()) / seconds);
    EXPECT_GT(count, 10);
}

TEST_F(HostileServer, AHundredThousandRequestsToADeafPeerBlockNobody)
{
    long const before = residentKiB();
    auto const begin = Clock::now();
    for (int i = 0; i < 100000; ++i) {
        ZeloRequestPreviousController();
    }
    auto const duration = since(begin);
    long const queued = residentKiB();
    printf("100000 requests: %lld ms, %ld KiB before, %ld KiB queued\n", static_cast<long long>(duration.count()),
           before, queued);
    EXPECT_LT(queued - before, memoryLimit(64 * 1024));
    proveAlive();
    EXPECT_TRUE(waitUntil([before] { return residentKiB() - before < memoryLimit(4 * 1024); })) << residentKiB();
}

TEST_F(HostileServer, AFullBacklogIsWaitedOut)
{
    std::vector<zelobox::Descriptor> idle;
    listen(listener.descriptor(), 1);
    for (zelobox::Descriptor client = idleClient(); client; client = idleClient()) {
        idle.push_back(std::move(client));
    }
    ASSERT_FALSE(idle.empty());
    connection.close(); // the reconnect finds no room
    unsigned long const lines = quietHostLogLines;
    std::this_thread::sleep_for(Milliseconds(700)); // several time-outs of the connect
    EXPECT_LE(quietHostLogLines - lines, 3U) << "a connect that only waits is no failure";
    for (zelobox::Descriptor& client : idle) {
        listener.accept();
        client.reset();
    }
    connection = acceptClient();
    proveAlive();
}

TEST_F(HostileServer, AFullBacklogDoesNotHoldUpAStop)
{
    std::vector<zelobox::Descriptor> idle;
    listen(listener.descriptor(), 1);
    for (zelobox::Descriptor client = idleClient(); client; client = idleClient()) {
        idle.push_back(std::move(client));
    }
    unsigned long const lines = quietHostLogLines;
    connection.close();
    ASSERT_TRUE(waitUntil([lines] { return quietHostLogLines >= lines + 2; })) << "the drop is noticed";
    auto const begin = Clock::now();
    ZeloStopApp();
    printf("stop in a full backlog: %lld ms\n", static_cast<long long>(since(begin).count()));
    EXPECT_LT(since(begin), Milliseconds(2000));
}

TEST_F(HostileServer, AServerMayBeKilledAThousandTimes)
{
    std::vector<char> const bytes = keyFrame();
    std::atomic<bool> done{false};
    std::thread host([&done] {
        while (!done) {
            ZeloSetVideoWindow(1, 2, 3, 4);
        }
    });
    long const before = heapInUseKiB();
    connection.close();
    auto const begin = Clock::now();
    int deaths = 0;
    bool alive = true;
    for (; deaths < 1000 && alive; ++deaths) {
        int const keysBefore = keys;
        pid_t const server = forkServer(listener.descriptor(), bytes);
        alive = waitUntil([keysBefore] { return keys > keysBefore; });
        kill(server, SIGKILL);
        waitpid(server, nullptr, 0);
    }
    done = true;
    host.join();
    EXPECT_TRUE(alive) << "after " << deaths << " deaths";
    // What the host pushed to the last of them goes with that connection; then nothing is left of a thousand.
    connection = acceptClient();
    connection.close();
    connection = acceptClient();
    proveAlive();
    printf("%d servers killed in %lld ms: %ld KiB of heap before, %ld KiB after\n", deaths,
           static_cast<long long>(since(begin).count()), before, heapInUseKiB());
    EXPECT_TRUE(waitUntil([before] { return heapInUseKiB() - before < 64; })) << heapInUseKiB();
}

TEST(TwoLibraries, ShareAServer)
{
    zelobox::Listener listener;
    auto const live = [] {
        static std::atomic<int> seen{0};
        ZeloStartApp({[](SbKey, uint8_t) { ++seen; }, nullptr, nullptr, nullptr});
        bool const reached = waitUntil([] { return seen == 100; });
        ZeloStopApp();
        return reached;
    };
    pid_t const other = fork();
    if (other == 0) {
        _exit(live() ? 0 : 1);
    }
    bool reached = false;
    std::thread own([&] { reached = live(); });
    std::vector<zelobox::Connection> connections;
    for (int i = 0; i < 2; ++i) {
        connections.push_back(listener.accept());
        connections.back().send({IPC_PAYLOAD_RAW, IPC_BROWSER_CONFIG, configuration("en")});
    }
    for (int i = 0; i < 200; ++i) {
        connections[static_cast<size_t>(i % 2)].sendBytes(keyFrame());
    }
    own.join();
    int status = 1;
    waitpid(other, &status, 0);
    EXPECT_TRUE(reached);
    EXPECT_EQ(0, status);
}
