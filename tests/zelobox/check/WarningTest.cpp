// Middlewares that send what is legal but cannot be meant.
#include "tests/zelobox/check/Diagnosis.h"

using namespace diagnosis;
using testing::HasSubstr;
using testing::Not;

TEST(Warning, WarnsOfSizesInLittleEndian)
{
    EXPECT_THAT(checkConfig([](Config& config) { config.display = "80073804"; }),
                WarnsOf("displayWidth and displayHeight at offset 7: 32775 x 14340, expected at most 8192 a side; in "
                        "little-endian it is 1920 x 1080; rule 19, protocol.md#values\n"));
}

TEST(Warning, WarnsOfANarrowScreen)
{
    EXPECT_THAT(
        checkConfig([](Config& config) { config.aux = "07800100"; }),
        WarnsOf("auxWidth and auxHeight at offset 12: 1920 x 256, expected no side more than 4 times the other"));
    EXPECT_THAT(checkConfig([](Config& config) { config.display = "01000400"; }).output, Not(HasSubstr("warned")))
        << "4 times is not more";
}

TEST(Warning, WarnsOfAVolumeBeyond100)
{
    EXPECT_THAT(
        checkEvents(frame(1, 39, {30, 0, 0, 0})),
        WarnsOf("payload of IPC_VOLUME: value at offset 0: 503316480, expected 0 to 100; in little-endian it is "
                "30; rule 20"));
    EXPECT_THAT(checkEvents(frame(1, 39, {0, 0, 0, 101})), WarnsOf("value at offset 0: 101, expected 0 to 100; rule"));
    EXPECT_THAT(checkEvents(frame(1, 39, {0, 0, 0, 100})).output, Not(HasSubstr("warned")));
}

TEST(Warning, WarnsOfALifeCycleTextThatOnlyLooksRight)
{
    EXPECT_THAT(checkEvents(frame(4, 49, hex("00000007 6f6e5061757365 00"))),
                WarnsOf("payload of IPC_APP_LIFECYCLE: text at offset 4: \"onPause\", which nobody acts on, expected "
                        "\"onpause\"; rule 21"));
}

TEST(Warning, WarnsOfACommandWithoutAKey)
{
    EXPECT_THAT(checkEvents(frame(1, 26, {44, 0, 0, 0})),
                WarnsOf("payload of IPC_REMOTE_KEY: value at offset 0: command 0, which has no key, expected a command "
                        "of the table; in little-endian it is command 44; rule 22, protocol.md#key-commands\n"));
}

TEST(Warning, WarnsOfATextThatIsNoUtf8)
{
    EXPECT_THAT(checkConfig([](Config& config) { config.portalUrl = "0003e92f00"; }),
                WarnsOf("portalUrl at offset 28: bytes e92f, expected UTF-8; rule 23"));
}

TEST(Warning, WarnsOfALanguageThatIsNoTag)
{
    EXPECT_THAT(
        checkConfig([](Config& config) { config.language = "0006656e5f474200"; }),
        WarnsOf("language at offset 23: \"en_GB\", expected a language tag such as \"en\" or \"en-GB\"; rule 24"));
}

TEST(Warning, WarnsOfWhatNobodyReads)
{
    EXPECT_THAT(checkConfig([](Config& config) { config.rest += "00"; }),
                WarnsOf("what follows the last field at offset 38: 1 byte, expected nothing; rule 25"));
    EXPECT_THAT(checkConfig([](Config& config) { config.displayFlag = "38"; }),
                WarnsOf("displayFlag at offset 11: 56, expected 0 or 1; rule 25"));
    EXPECT_THAT(checkConfig([](Config& config) { config.portalUrl = "0004782f0000"; }),
                WarnsOf("portalUrl at offset 30: a byte 00 within the text, expected one behind it only; rule 25"));
}

TEST(Warning, MakesWarningsErrorsWhenStrict)
{
    Bytes const loud = frame(1, 39, {0, 0, 0, 101});
    Report const report = check(Config().bytes(), loud, {"--strict"});
    EXPECT_THAT(report, FailsWith("FAILED   plausible"));
    EXPECT_THAT(report.output, HasSubstr(" passed, 1 failed, 0 skipped\n"));
}
