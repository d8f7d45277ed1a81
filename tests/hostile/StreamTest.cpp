// A middleware that sends what it should not.
#include <stdio.h>
#include <sys/ioctl.h>

#include <random>
#include <thread>

#include "cobalt/ZeloCobalt.h"
#include "src/ipc/IPCFrame.h"
#include "tests/hostile/Rig.h"

using namespace rig;

namespace {

using HostileStream = Started;

std::vector<char> header(uint8_t kind, uint16_t type, uint32_t length)
{
    std::vector<char> bytes(IPCFrameHeader::Size);
    writeFrameHeader({kind, type, length}, bytes.data());
    return bytes;
}

/// Sends as much as the client takes before it closes.
void sendUntilClosed(zelobox::Connection& connection, std::vector<char> const& bytes)
{
    try {
        connection.sendBytes(bytes);
    } catch (zelobox::PeerClosed const&) {
    }
}

/// @return how much of what was sent the client has not taken yet
int unreadBytes(zelobox::Connection const& connection)
{
    int count = -1;
    ioctl(connection.descriptor(), TIOCOUTQ, &count);
    return count;
}

} // namespace

TEST_F(HostileStream, GarbageCostsTheConnectionAndNothingElse)
{
    std::mt19937 random(4711);
    for (int round = 0; round < 300; ++round) {
        int const before = volumeChanges;
        connection.sendBytes(volumeFrame(static_cast<uint32_t>(round)));
        std::vector<char> garbage(1 + random() % 2000);
        for (char& byte : garbage) {
            byte = static_cast<char>(random());
        }
        garbage[0] = 0;
        sendUntilClosed(connection, garbage);
        ASSERT_TRUE(connection.waitForClose());
        ASSERT_EQ(before + 1, volumeChanges);
        ASSERT_EQ(static_cast<unsigned>(round), currentVolume());
        connection = acceptClient();
    }
    proveAlive();
}

TEST_F(HostileStream, EveryWrongSyncByteIsSeenInEveryFrame)
{
    for (int sync = 0; sync < 256; ++sync) {
        if (sync == IPCFrameHeader::Sync) {
            continue;
        }
        std::vector<char> bytes;
        int const whole = 1 + sync % 5;
        for (int i = 0; i < whole; ++i) {
            std::vector<char> const frame = volumeFrame(static_cast<uint32_t>(i));
            bytes.insert(bytes.end(), frame.begin(), frame.end());
        }
        std::vector<char> wrong = volumeFrame(99);
        wrong[0] = static_cast<char>(sync);
        bytes.insert(bytes.end(), wrong.begin(), wrong.end());
        int const before = volumeChanges;
        connection.sendBytes(bytes);
        ASSERT_TRUE(connection.waitForClose()) << sync;
        ASSERT_EQ(before + whole, volumeChanges) << sync;
        connection = acceptClient();
    }
    proveAlive();
}

TEST_F(HostileStream, ALyingLengthCostsNoMemory)
{
    long const before = residentKiB();
    long most = before;
    for (uint32_t const length :
         {0x00100000U, 0x10000000U, 0x40000000U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFCU, 0xFFFFFFFFU}) {
        connection.sendBytes(volumeFrame(length % 97));
        sendUntilClosed(connection, header(IPC_PAYLOAD_STRING, IPC_APP_LIFECYCLE, length));
        sendUntilClosed(connection, std::vector<char>(1000));
        ASSERT_TRUE(waitUntil([this] { return unreadBytes(connection) == 0; }));
        EXPECT_EQ(length % 97, currentVolume());
        most = std::max(most, residentKiB());
        proveAlive();
    }
    printf("lying lengths: %ld KiB before, at most %ld KiB\n", before, most);
    EXPECT_LT(most - before, 8 * 1024);
}

TEST_F(HostileStream, AGenuineFrameOf64MiBIsTaken)
{
    uint32_t const size = 64 * 1024 * 1024;
    long const before = residentKiB();
    auto const begin = Clock::now();
    std::thread sender([this] {
        connection.sendBytes(header(IPC_PAYLOAD_RAW, IPC_UNHANDLED_8, size));
        connection.sendBytes(std::vector<char>(size, 'x'), Milliseconds(60000));
        connection.sendBytes(volumeFrame(64));
    });
    EXPECT_TRUE(waitUntil([] { return currentVolume() == 64; }, Milliseconds(60000)));
    sender.join();
    auto const duration = since(begin);
    EXPECT_TRUE(waitUntil([before] { return residentKiB() - before < memoryLimit(8 * 1024); })) << residentKiB();
    printf("64 MiB: %lld ms, %ld KiB before, peak %ld KiB, after %ld KiB\n", static_cast<long long>(duration.count()),
           before, peakKiB(), residentKiB());
    // One copy is the sender's.
    EXPECT_LT(peakKiB() - before, memoryLimit(2 * 64 * 1024 + 16 * 1024));
    proveAlive();
}

TEST_F(HostileStream, AByteEvery150msIsAFrameInTheEnd)
{
    int const before = keys;
    for (char const byte : keyFrame()) {
        std::this_thread::sleep_for(Milliseconds(150)); // what is tested
        connection.sendBytes({byte});
    }
    EXPECT_TRUE(waitUntil([before] { return keys == before + 1; }));
}

TEST_F(HostileStream, ConfigurationsAtFullSpeedAreTakenWhole)
{
    std::string const first(300, 'a');
    std::string const second(3, 'b');
    std::atomic<bool> done{false};
    std::atomic<int> torn{0};
    std::thread reader([&] {
        std::string language;
        while (!done) {
            ZeloGetEnv(ZeloEnvLanguage, language);
            torn += language == first || language == second || language == "en" ? 0 : 1;
        }
    });
    std::thread answers([this] {
        while (connection.waitForClose(Milliseconds(30000))) {
            break;
        }
    });
    long const before = residentKiB();
    int const count = 20000;
    for (int i = 0; i < count; ++i) {
        connection.send({IPC_PAYLOAD_RAW, IPC_BROWSER_CONFIG, configuration(i % 2 == 0 ? first : second)});
    }
    connection.sendBytes(volumeFrame(7777));
    EXPECT_TRUE(waitUntil([] { return currentVolume() == 7777; }, Milliseconds(30000)));
    long const after = residentKiB();
    done = true;
    reader.join();
    ZeloStopApp();
    answers.join();
    EXPECT_EQ(0, torn);
    printf("%d configurations: %ld KiB before, %ld KiB after\n", count, before, after);
    EXPECT_LT(after - before, memoryLimit(16 * 1024));
}
