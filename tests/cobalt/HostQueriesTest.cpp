#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <string>

#include "cobalt/ZeloCobalt.h"
#include "testkit/HostStandIn.h"
#include "testkit/Middleware.h"
#include "testkit/SystemStandIn.h"

namespace {

std::string answerOf(uint32_t key)
{
    std::string value = "as before";
    EXPECT_TRUE(ZeloGetEnv(static_cast<ZeloEnv>(key), value)) << "key " << key;
    return value;
}

void expectNoAnswer(uint32_t key)
{
    std::string value = "as before";
    EXPECT_FALSE(ZeloGetEnv(static_cast<ZeloEnv>(key), value)) << "key " << key;
    EXPECT_EQ("as before", value) << "key " << key;
}

/// The firmware version on a box whose version file is @p path.
std::string versionIn(std::string const& path)
{
    libc::redirectFile("/etc/zelo_firmware.version", path);
    std::string const version = answerOf(ZeloEnvFirmwareVersion);
    EXPECT_EQ(1, libc::redirections()) << "the library opened the file in a way that the test does not see";
    return version;
}

std::string versionOf(std::string const& content)
{
    std::string const path = testing::TempDir() + "zelo_firmware.version";
    std::ofstream(path) << content;
    return versionIn(path);
}

struct Sizes {
    char const* name;
    char const* widthText;
    char const* heightText;
    unsigned width;
    unsigned height;
};

class Environment : public testing::TestWithParam<Sizes> {
protected:
    unsigned width = 1111;
    unsigned height = 2222;

    void readUiSize() { EXPECT_TRUE(ZeloGetUISize(width, height)); }
};

/// On a box with so much memory. One box per process: the amount is kept.
uint32_t memoryClassWith(unsigned long bytes)
{
    libc::setTotalRam(bytes);
    Capabilities capabilities = {};
    EXPECT_TRUE(ZeloGetCapabilities(capabilities));
    EXPECT_EQ(1, libc::sysinfoCalls());
    return capabilities.memoryClass;
}

} // namespace

TEST_F(Environment, StoragePathEndsWithASlash)
{
    EXPECT_EQ("/var/zelo/zelo_cobalt/", answerOf(0));
    EXPECT_EQ(22U, answerOf(0).size());
}

TEST_F(Environment, DeviceIdIsTheBoxs)
{
    EXPECT_EQ(standin::deviceId, answerOf(2));
}

TEST_F(Environment, ReservedKeyHasNoAnswer)
{
    expectNoAnswer(3);
}

TEST_F(Environment, UnknownKeysHaveNoAnswer)
{
    for (uint32_t const key : {5U, 7U, 255U, 256U, 0x80000000U, 0xFFFFFFFFU}) {
        expectNoAnswer(key);
    }
}

TEST_F(Environment, LanguageIsEmptyBeforeAStart)
{
    setenv("ZELO_LANG_CODE", "de", 1);
    EXPECT_EQ("", answerOf(4));
}

TEST_F(Environment, LanguageIsTheVariablesWhileAStartWaits)
{
    setenv("ZELO_LANG_CODE", "de", 1);
    Middleware middleware;
    middleware.serveStart([] { ZeloStartApp({}); });
    ZeloStopApp();
    EXPECT_NE("de", answerOf(4));
    std::thread start([] { ZeloStartApp({}); });
    middleware.acceptClient();
    EXPECT_EQ("de", answerOf(4)); // also on a start that finds a language from before
    middleware.configure(configWith("pt"));
    start.join();
    EXPECT_EQ("pt", answerOf(4));
    ZeloStopApp();
    EXPECT_EQ("pt", answerOf(4));
}

TEST(FirmwareVersion, IsUnknownWithoutAFile)
{
    EXPECT_EQ("unknown", versionIn(testing::TempDir() + "no-such-file"));
}

TEST(FirmwareVersion, IsUnknownWhenTheFileCannotBeRead)
{
    EXPECT_EQ("unknown", versionIn(testing::TempDir()));
}

struct VersionFile {
    char const* name;
    char const* content;
    char const* version;
};

class FirmwareVersionFile : public testing::TestWithParam<VersionFile> {};

TEST_P(FirmwareVersionFile, HoldsTheFirstWord)
{
    EXPECT_EQ(GetParam().version, versionOf(GetParam().content));
}

INSTANTIATE_TEST_SUITE_P(
    That, FirmwareVersionFile,
    testing::Values(VersionFile{"IsEmpty", "", "unknown"}, VersionFile{"IsBlank", " \t\r\n  \n", "unknown"},
                    VersionFile{"BeginsWithBlanks", "  1.2.3 build7\n", "1.2.3"},
                    VersionFile{"HasNoLineEnd", "\n\n\t4.5", "4.5"},
                    VersionFile{"HasOtherBlanks", "\v\f\r1.2\v3", "1.2"}, VersionFile{"HasAFormFeed", "1.2\f3", "1.2"},
                    VersionFile{"HasACarriageReturn", "1.2\r3", "1.2"}, VersionFile{"HasATab", "1.2\t3", "1.2"}),
    [](testing::TestParamInfo<VersionFile> const& instance) { return instance.param.name; });

TEST(FirmwareVersion, IsReadAnewEveryTime)
{
    EXPECT_EQ("1", versionOf("1"));
    std::ofstream(testing::TempDir() + "zelo_firmware.version") << "2";
    EXPECT_EQ("2", answerOf(ZeloEnvFirmwareVersion));
}

TEST(FirmwareVersion, IsCutAfter4096Bytes)
{
    EXPECT_EQ(std::string(4096, 'v'), versionOf(std::string(5000, 'v')));
}

TEST(FirmwareVersion, IsUnknownAndKeepsNobodyWaitingWhenTheFileIsAPipe)
{
    std::string const path = testing::TempDir() + "zelo_firmware.fifo";
    ASSERT_EQ(0, mkfifo(path.c_str(), 0600));
    libc::redirectFile("/etc/zelo_firmware.version", path);
    EXPECT_EQ("unknown", answerOf(ZeloEnvFirmwareVersion)) << "without a writer: or for ever in open()";
    zelobox::Descriptor const writer(open(path.c_str(), O_RDWR | O_CLOEXEC));
    ASSERT_EQ(4, write(writer.get(), "1.2 ", 4));
    EXPECT_EQ("unknown", answerOf(ZeloEnvFirmwareVersion));
    unlink(path.c_str());
}

TEST_F(Environment, UiSizeIsTheHostsOwnWithoutTheVariables)
{
    unsetenv("VIRTUAL_SCREEN_WIDTH");
    unsetenv("VIRTUAL_SCREEN_HEIGHT");
    readUiSize();
    EXPECT_EQ(1111U, width);
    EXPECT_EQ(2222U, height);
}

TEST_P(Environment, UiSizeIsWhatTheVariablesSay)
{
    setenv("VIRTUAL_SCREEN_WIDTH", GetParam().widthText, 1);
    setenv("VIRTUAL_SCREEN_HEIGHT", GetParam().heightText, 1);
    readUiSize();
    EXPECT_EQ(GetParam().width, width);
    EXPECT_EQ(GetParam().height, height);
}

// A text that is no positive number leaves the host's own 1111 and 2222.
INSTANTIATE_TEST_SUITE_P(
    Text, Environment,
    testing::Values(Sizes{"Decimal", "1280", "0720", 1280, 720}, Sizes{"OneOfTwo", "0", "1", 1111, 1},
                    Sizes{"LettersLast", "1280px", " +720 lines", 1280, 720},
                    Sizes{"Hexadecimal", "0x500", "0x2D0", 1111, 2222},
                    Sizes{"TooLarge", "2147483647", "99999999999999999999999999", 2147483647, 2147483647},
                    Sizes{"ZeroIn32Bits", "4294967296", "4294967296", 2147483647, 2147483647},
                    Sizes{"Empty", "", "", 1111, 2222}, Sizes{"Blank", " ", " ", 1111, 2222},
                    Sizes{"Negative", "-5", "-99999999999999999999", 1111, 2222},
                    Sizes{"Letters", "abc", "px1280", 1111, 2222}),
    [](testing::TestParamInfo<Sizes> const& instance) { return instance.param.name; });

struct Memory {
    char const* name;
    unsigned long bytes;
    uint32_t memoryClass;
};

class MemoryClass : public testing::TestWithParam<Memory> {};

TEST_P(MemoryClass, IsThatOfTheMemory)
{
    EXPECT_EQ(GetParam().memoryClass, memoryClassWith(GetParam().bytes));
}

INSTANTIATE_TEST_SUITE_P(Of, MemoryClass,
                         testing::Values(Memory{"280Million", 280000000, 0}, Memory{"OneMoreByte", 280000001, 1},
                                         Memory{"600Million", 600000000, 1}, Memory{"OneMoreByteStill", 600000001, 2},
                                         Memory{"AllThatANumberHolds", ~0UL, 2}),
                         [](testing::TestParamInfo<Memory> const& instance) { return instance.param.name; });

TEST_F(MemoryClass, IsOfTheMemoryAtTheFirstCall)
{
    EXPECT_EQ(2U, memoryClassWith(700000000));
    EXPECT_EQ(2U, memoryClassWith(1000));
}

TEST_F(MemoryClass, IsAskedForAgainWhileTheBoxReportsNone)
{
    EXPECT_EQ(0U, memoryClassWith(0));
    libc::setTotalRam(300000000);
    Capabilities capabilities = {};
    ZeloGetCapabilities(capabilities);
    EXPECT_EQ(1U, capabilities.memoryClass);
    EXPECT_EQ(2, libc::sysinfoCalls());
}
