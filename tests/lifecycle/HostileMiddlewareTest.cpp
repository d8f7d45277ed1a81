// A middleware that is deaf, dies again and again, or sends more than anybody expects; the figures are the process's
// own.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <thread>

#include "cobalt/ZeloCobalt.h"
#include "src/ipc/IPCMessage.h"
#include "testkit/HostStandIn.h"
#include "testkit/Middleware.h"
#include "testkit/Process.h"
#include "testkit/Wait.h"

namespace {

using timely::eventually;
using timely::Milliseconds;

std::atomic<int> keys{0};

void onKey(SbKey, uint8_t)
{
    ++keys;
}

unsigned currentVolume()
{
    unsigned volume = 0;
    bool muted = false;
    ZeloGetVolume(volume, muted);
    return volume;
}

/// A started library whose host keeps nothing.
class HostileMiddleware : public testing::Test {
protected:
    HostileMiddleware()
    {
        standin::setLogging(standin::Logging::Formatted);
        middleware.serveStart([] { ZeloStartApp({onKey, nullptr, nullptr, nullptr}); });
    }
    ~HostileMiddleware() override { ZeloStopApp(); }

    /// Drops the connection and expects that the next one works.
    void expectAlive()
    {
        middleware.close();
        middleware.accept();
        int const before = keys;
        middleware.sendKey(2);
        EXPECT_TRUE(eventually([before] { return keys > before; })) << "no key gets through";
    }

    Middleware middleware;
};

/// A server process that floods a client with keys; it only makes system calls.
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

TEST_F(HostileMiddleware, MayBeKilledAgainAndAgain)
{
    std::vector<char> const bytes = bytesOf(zelobox::frameOf(IPCMessageUnsignedInt(IPC_REMOTE_KEY, 1)));
    std::atomic<bool> done{false};
    std::thread host([&done] {
        while (!done) {
            ZeloSetVideoWindow(1, 2, 3, 4);
        }
    });
    long const before = heapInUseKiB();
    middleware.close();
    int deaths = 0;
    bool alive = true;
    for (; deaths < 200 && alive; ++deaths) {
        int const keysBefore = keys;
        pid_t const server = forkServer(middleware.door().descriptor(), bytes);
        alive = eventually([keysBefore] { return keys > keysBefore; });
        kill(server, SIGKILL);
        waitpid(server, nullptr, 0);
    }
    done = true;
    host.join();
    EXPECT_TRUE(alive) << "after " << deaths << " deaths";
    // What the host pushed to the last of them goes with that connection; then nothing is left of two hundred.
    middleware.accept();
    expectAlive();
    EXPECT_TRUE(eventually([before] { return heapInUseKiB() - before < 64; })) << heapInUseKiB();
}

TEST_F(HostileMiddleware, MaySendAFrameOf64MiB)
{
    uint32_t const size = 64 * 1024 * 1024;
    long const before = residentKiB();
    std::thread sender([this] {
        zelobox::Frame const frame = {IPC_PAYLOAD_RAW, IPC_UNHANDLED_8, std::vector<char>(size, 'x')};
        middleware.link().send(frame, Milliseconds(60000));
        middleware.sendVolume(64);
    });
    EXPECT_TRUE(eventually([] { return currentVolume() == 64; }, Milliseconds(60000)));
    sender.join();
    EXPECT_TRUE(eventually([before] { return residentKiB() - before < memoryLimit(8 * 1024); })) << residentKiB();
    // The sender has a payload and a frame made of it.
    EXPECT_LT(peakKiB() - before, memoryLimit(3 * 64 * 1024 + 16 * 1024));
}

TEST(TwoLibraries, ShareAMiddleware)
{
    Middleware middleware;
    auto const live = [] {
        ZeloStartApp({onKey, nullptr, nullptr, nullptr});
        bool const reached = eventually([] { return keys == 100; });
        ZeloStopApp();
        return reached;
    };
    pid_t const other = fork();
    if (other == 0) {
        _exit(live() ? 0 : 1);
    }
    bool reached = false;
    std::thread own([&] { reached = live(); });
    std::vector<zelobox::Connection> clients;
    for (int i = 0; i < 2; ++i) {
        middleware.acceptClient();
        middleware.configure();
        clients.push_back(std::move(middleware.link()));
    }
    for (int i = 0; i < 200; ++i) {
        clients[static_cast<size_t>(i % 2)].send(zelobox::frameOf(IPCMessageUnsignedInt(IPC_REMOTE_KEY, 1)));
    }
    own.join();
    int status = 1;
    waitpid(other, &status, 0);
    EXPECT_TRUE(reached);
    EXPECT_EQ(0, status);
}
