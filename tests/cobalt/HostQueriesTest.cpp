#include <fcntl.h>
#include <gtest/gtest.h>
#include <stddef.h>
#include <stdlib.h>
#include <string.h>
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

struct NoSize {
    char const* name;
    char const* text;
};

class Environment : public testing::TestWithParam<NoSize> {
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

TEST(FirmwareVersion, IsUnknownWhenTheFileIsEmpty)
{
    EXPECT_EQ("unknown", versionOf(""));
}

TEST(FirmwareVersion, IsUnknownWhenTheFileIsBlank)
{
    EXPECT_EQ("unknown", versionOf(" \t\r\n  \n"));
}

TEST(FirmwareVersion, IsUnknownWhenTheFileCannotBeRead)
{
    EXPECT_EQ("unknown", versionIn(testing::TempDir()));
}

TEST(FirmwareVersion, IsTheFirstWordAfterLeadingBlanks)
{
    EXPECT_EQ("1.2.3", versionOf("  1.2.3 build7\n"));
}

TEST(FirmwareVersion, MayStandOnALaterLineAndHaveNoLineEnd)
{
    EXPECT_EQ("4.5", versionOf("\n\n\t4.5"));
}

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

TEST(FirmwareVersion, MayHoldABlankOnlyAsItsEnd)
{
    for (char const blank : {' ', '\t', '\n', '\v', '\f', '\r'}) {
        std::ofstream(testing::TempDir() + "zelo_firmware.version") << blank << "1.2" << blank << "3";
        libc::redirectFile("/etc/zelo_firmware.version", testing::TempDir() + "zelo_firmware.version");
        EXPECT_EQ("1.2", answerOf(ZeloEnvFirmwareVersion)) << int{blank};
    }
}

TEST(FirmwareVersion, IsUnknownAndKeepsNobodyWaitingWhenTheFileIsAPipe)
{
    std::string const path = testing::TempDir() + "zelo_firmware.fifo";
    ASSERT_EQ(0, mkfifo(path.c_str(), 0600));
    zelobox::Descriptor const writer(open(path.c_str(), O_RDWR | O_CLOEXEC));
    ASSERT_EQ(4, write(writer.get(), "1.2 ", 4));
    EXPECT_EQ("unknown", versionIn(path));
    unlink(path.c_str());
}

TEST(FirmwareVersion, IsUnknownWhenThePipeHasNoWriter)
{
    std::string const path = testing::TempDir() + "zelo_firmware.fifo";
    ASSERT_EQ(0, mkfifo(path.c_str(), 0600));
    EXPECT_EQ("unknown", versionIn(path)); // or for ever in open()
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

TEST_F(Environment, UiSizeComesFromTheVariables)
{
    setenv("VIRTUAL_SCREEN_WIDTH", "1280", 1);
    setenv("VIRTUAL_SCREEN_HEIGHT", "720", 1);
    readUiSize();
    EXPECT_EQ(1280U, width);
    EXPECT_EQ(720U, height);
}

TEST_F(Environment, UiSizeIsTakenOneByOne)
{
    setenv("VIRTUAL_SCREEN_WIDTH", "0", 1);
    setenv("VIRTUAL_SCREEN_HEIGHT", "1", 1);
    readUiSize();
    EXPECT_EQ(1111U, width);
    EXPECT_EQ(1U, height);
}

TEST_F(Environment, UiSizeEndsAtTheFirstCharacterThatIsNoDigit)
{
    setenv("VIRTUAL_SCREEN_WIDTH", "1280px", 1);
    setenv("VIRTUAL_SCREEN_HEIGHT", " +720 lines", 1);
    readUiSize();
    EXPECT_EQ(1280U, width);
    EXPECT_EQ(720U, height);
}

TEST_F(Environment, UiSizeIsDecimal)
{
    setenv("VIRTUAL_SCREEN_WIDTH", "0720", 1);
    setenv("VIRTUAL_SCREEN_HEIGHT", "0x2D0", 1);
    readUiSize();
    EXPECT_EQ(720U, width);
    EXPECT_EQ(2222U, height);
}

TEST_F(Environment, UiSizeStopsAtTheLargestNumberOfTheBox)
{
    setenv("VIRTUAL_SCREEN_WIDTH", "2147483647", 1);
    setenv("VIRTUAL_SCREEN_HEIGHT", "99999999999999999999999999", 1);
    readUiSize();
    EXPECT_EQ(2147483647U, width);
    EXPECT_EQ(2147483647U, height);
    setenv("VIRTUAL_SCREEN_WIDTH", "4294967296", 1); // 0 in 32 bits, which is no size
    readUiSize();
    EXPECT_EQ(2147483647U, width);
}

TEST_P(Environment, UiSizeIgnoresWhatIsNoPositiveNumber)
{
    setenv("VIRTUAL_SCREEN_WIDTH", GetParam().text, 1);
    setenv("VIRTUAL_SCREEN_HEIGHT", GetParam().text, 1);
    readUiSize();
    EXPECT_EQ(1111U, width);
    EXPECT_EQ(2222U, height);
}

INSTANTIATE_TEST_SUITE_P(Text, Environment,
                         testing::Values(NoSize{"Empty", ""}, NoSize{"Blank", " "}, NoSize{"Zero", "0"},
                                         NoSize{"Negative", "-5"}, NoSize{"Letters", "abc"},
                                         NoSize{"LettersFirst", "px1280"},
                                         NoSize{"FarBelowZero", "-99999999999999999999"}),
                         [](testing::TestParamInfo<NoSize> const& instance) { return instance.param.name; });

TEST(MemoryClass, Is0Below280Million)
{
    EXPECT_EQ(0U, memoryClassWith(279999999));
}

TEST(MemoryClass, Is0AtExactly280Million)
{
    EXPECT_EQ(0U, memoryClassWith(280000000));
}

TEST(MemoryClass, Is1Above280Million)
{
    EXPECT_EQ(1U, memoryClassWith(280000001));
}

TEST(MemoryClass, Is1Below600Million)
{
    EXPECT_EQ(1U, memoryClassWith(599999999));
}

TEST(MemoryClass, Is1AtExactly600Million)
{
    EXPECT_EQ(1U, memoryClassWith(600000000));
}

TEST(MemoryClass, Is2Above600Million)
{
    EXPECT_EQ(2U, memoryClassWith(600000001));
}

TEST(MemoryClass, IsUnsigned)
{
    EXPECT_EQ(2U, memoryClassWith(~0UL));
}

TEST(MemoryClass, IsOfTheMemoryAtTheFirstCall)
{
    EXPECT_EQ(2U, memoryClassWith(700000000));
    EXPECT_EQ(2U, memoryClassWith(1000));
}

TEST(MemoryClass, IsAskedForAgainWhileTheBoxReportsNone)
{
    EXPECT_EQ(0U, memoryClassWith(0));
    libc::setTotalRam(300000000);
    Capabilities capabilities = {};
    ZeloGetCapabilities(capabilities);
    EXPECT_EQ(1U, capabilities.memoryClass);
    EXPECT_EQ(2, libc::sysinfoCalls());
}
