// Middlewares that each make one mistake, and what the check says of it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <sstream>

#include "src/common/ByteWriter.h"
#include "tests/zelobox/Program.h"
#include "tests/zelobox/check/ScriptedMiddleware.h"
#include "zelobox/protocol/Json.h"

using program::Ended;
using testing::HasSubstr;
using testing::Not;

namespace {

using Bytes = std::vector<char>;

Bytes frame(int kind, int type, Bytes const& payload)
{
    Bytes bytes;
    ByteWriter writer(bytes);
    writer.u8('m');
    writer.u8(static_cast<uint8_t>(kind));
    writer.u16(static_cast<uint16_t>(type));
    writer.u32(static_cast<uint32_t>(payload.size()));
    writer.raw(payload.data(), payload.size());
    return bytes;
}

Bytes hex(std::string const& digits)
{
    return zelobox::bytesOfHex(digits);
}

/// A configuration whose parts a test can replace; each is hexadecimal.
struct Config {
    std::string flag = "00";
    std::string address = "02005e102030";
    std::string display = "07800438";
    std::string displayFlag = "00";
    std::string aux = "00000000";
    std::string apiMode = "0003747600";
    std::string language = "0003656e00";
    std::string portalUrl = "0003782f00";
    std::string auxText1 = "000100";
    std::string rest = "01000100"; // auxValue and auxText2

    Bytes bytes() const
    {
        return frame(
            0, 24,
            hex(flag + address + display + displayFlag + aux + apiMode + language + portalUrl + auxText1 + rest));
    }
};

struct Report {
    std::string output;
    int status;
};

/// What the check says of a middleware that sends @p configuration, and @p events.
Report check(Bytes const& configuration, Bytes const& events = frame(1, 58, {0, 0, 0, 0}), program::Words more = {})
{
    program::Directory const directory;
    program::ScriptedMiddleware const middleware(directory.path("messenger"), configuration, events);
    more.insert(more.begin(), {"check", "--socket", directory.path("messenger"), "--wait", "1", "--timeout", "2",
                               "--case", "messages", "--case", "payload", "--case", "kind"});
    Ended const ended = program::run(more);
    EXPECT_EQ("", ended.errors);
    return {ended.output, ended.status};
}

Report checkConfig(std::function<void(Config&)> const& spoil)
{
    Config config;
    spoil(config);
    return check(config.bytes());
}

Report checkEvents(Bytes const& events)
{
    return check(Config().bytes(), events);
}

MATCHER_P(FailsWith, text, "")
{
    *result_listener << "status " << arg.status << "\n" << arg.output;
    return arg.status == 1 && arg.output.find(text) != std::string::npos &&
           arg.output.find("FAILED") != std::string::npos;
}

MATCHER_P(WarnsOf, text, "")
{
    *result_listener << "status " << arg.status << "\n" << arg.output;
    return arg.status == 0 && arg.output.find(text) != std::string::npos &&
           arg.output.find("warned   plausible") != std::string::npos;
}

} // namespace

TEST(Diagnosis, HasNothingToSayOfARightMiddleware)
{
    Report const report = check(Config().bytes());
    EXPECT_EQ(0, report.status);
    EXPECT_THAT(report.output, HasSubstr("7 passed, 0 failed, 0 skipped\n")) << report.output;
}

TEST(Diagnosis, FindsATextWithoutItsByte0)
{
    EXPECT_THAT(
        checkConfig([](Config& config) {
            config.apiMode = "00027476";
            config.language = "0002656e";
            config.portalUrl = "0002782f";
            config.auxText1 = "000161";
            config.rest = "01000162";
        }),
        FailsWith("payload of IPC_BROWSER_CONFIG: apiMode at offset 18: length 2, its last byte is 'v', "
                  "expected 00; all texts read if no byte 00 follows them: \"tv\", \"en\", \"x/\", \"a\", \"b\"; "
                  "rule 6, protocol.md#counted-texts\n"));
}

TEST(Diagnosis, FindsALengthThatDoesNotCountTheByte0)
{
    EXPECT_THAT(
        checkConfig([](Config& config) {
            config.apiMode = "0002747600";
            config.language = "0002656e00";
            config.portalUrl = "0002782f00";
            config.auxText1 = "000000";
            config.rest = "01000000";
        }),
        FailsWith("its last byte is 'v', expected 00; all texts read if their lengths do not count the byte 00: "
                  "\"tv\", \"en\", \"x/\", \"\", \"\"; rule 6"));
}

TEST(Diagnosis, FindsALengthThatCountsAByteThatIsNotThere)
{
    EXPECT_THAT(checkConfig([](Config& config) {
                    config.apiMode = "00037476";
                    config.language = "0003656e";
                    config.portalUrl = "0003782f";
                    config.auxText1 = "0001";
                    config.rest = "010001";
                }),
                FailsWith("all texts read if their lengths count a byte 00 that is not there: \"tv\", \"en\""));
}

TEST(Diagnosis, FindsALengthOf0)
{
    EXPECT_THAT(checkConfig([](Config& config) { config.auxText1 = "0000"; }),
                FailsWith("length of auxText1 at offset 31: 0, expected 1 or more: the length counts the byte 0 behind "
                          "the text; rule 6, protocol.md#counted-texts\n"));
}

TEST(Diagnosis, FindsLengthsOf32Bits)
{
    EXPECT_THAT(checkConfig([](Config& config) {
                    config.apiMode = "00000003747600";
                    config.language = "00000003656e00";
                    config.portalUrl = "00000003782f00";
                    config.auxText1 = "0000000100";
                    config.rest = "010000000100";
                }),
                FailsWith("length of apiMode at offset 16: 0, expected 1 or more: the length counts the byte 0 behind "
                          "the text; all texts read if their lengths have 32 bits: \"tv\""));
}

TEST(Diagnosis, FindsLittleEndianLengths)
{
    EXPECT_THAT(checkConfig([](Config& config) {
                    config.apiMode = "0300747600";
                    config.language = "0300656e00";
                    config.portalUrl = "0300782f00";
                    config.auxText1 = "010000";
                    config.rest = "01010000";
                }),
                FailsWith("length of apiMode at offset 16: 768, but 20 bytes left, expected a length that the payload "
                          "has room for; all texts read if their lengths are little-endian: \"tv\""));
}

TEST(Diagnosis, FindsTextsThatBeginTooLate)
{
    EXPECT_THAT(checkConfig([](Config& config) { config.aux = "0000000000"; }),
                FailsWith("all texts read if they begin at offset 17, not 16: \"tv\""));
}

TEST(Diagnosis, FindsAConfigurationThatIsCutShort)
{
    EXPECT_THAT(check(frame(0, 24, hex("0002005e1020300780"))),
                FailsWith("payload of IPC_BROWSER_CONFIG: displayHeight at offset 9: 0 bytes left, expected 2 bytes; "
                          "rule 5, protocol.md#kinds-of-payload\n"));
}

TEST(Diagnosis, FindsAConfigurationOfAnotherKind)
{
    Bytes wrong = Config().bytes();
    wrong[1] = 1;
    EXPECT_THAT(check(wrong), FailsWith("IPC_BROWSER_CONFIG: payload kind 1, expected 0; rule 4, "
                                        "protocol.md#messages-from-the-middleware\n"));
}

TEST(Diagnosis, FindsAnEventOfAnotherKind)
{
    EXPECT_THAT(checkEvents(frame(2, 39, hex("000000000000001e"))),
                FailsWith("IPC_VOLUME: payload kind 2, expected 1; rule 4"));
}

TEST(Diagnosis, FindsANumberThatIsCutShort)
{
    EXPECT_THAT(checkEvents(frame(1, 39, {30})),
                FailsWith("payload of IPC_VOLUME: value at offset 0: 1 byte left, expected 4 bytes; rule 5"));
}

TEST(Diagnosis, FindsATextThatEndsWithItsPayload)
{
    EXPECT_THAT(checkEvents(frame(4, 49, hex("00000007 6f6e7061757365"))),
                FailsWith("payload of IPC_APP_LIFECYCLE: text at offset 4: length 7, and nothing behind the text, "
                          "expected a byte 00 that the length does not count; rule 7"));
    EXPECT_THAT(checkEvents(frame(4, 49, hex("00000008 6f6e706175736500"))),
                FailsWith("length 8, and nothing behind the text, expected a byte 00 that the length does not count; "
                          "the length counts the byte 00; rule 7"));
}

TEST(Diagnosis, FindsATextThatClaimsMoreThanThereIs)
{
    EXPECT_THAT(checkEvents(frame(4, 49, hex("00000064 6f6e706175736500"))),
                FailsWith("length of text at offset 0: 100, but 8 bytes left, expected a length that the payload has "
                          "room for; rule 7"));
}

TEST(Diagnosis, FindsBlocksOfAnotherSize)
{
    EXPECT_THAT(
        checkEvents(frame(0, 15, {1, 2})),
        FailsWith("payload of IPC_RECORDER_STATS: value at offset 0: 2 bytes, expected exactly 1 byte; rule 5"));
    EXPECT_THAT(checkEvents(frame(0, 32, Bytes(29))),
                FailsWith("payload of IPC_PLAYER_PLAYBACK_INFO: record at offset 0: 29 bytes, expected exactly 30"));
}

TEST(Diagnosis, NamesTheStreamOfAMediaInfo)
{
    EXPECT_THAT(checkEvents(frame(0, 40,
                                  hex("00000000 00 00 0000000000000000 0002"
                                      "00000001 00000002 00000003 00000000 00 00000000 00 00000009"))),
                FailsWith("payload of IPC_PLAYER_MEDIA_INFO: streams[1].number2 at offset 42: 0 bytes left, expected 4 "
                          "bytes; rule 5"));
}

TEST(Diagnosis, FindsAWrongFrameBehindRightOnes)
{
    Bytes events = frame(1, 39, {0, 0, 0, 30});
    Bytes const wrong = frame(1, 58, {1});
    events.insert(events.end(), wrong.begin(), wrong.end());
    EXPECT_THAT(checkEvents(events),
                FailsWith("payload of IPC_MUTE: value at offset 0: 1 byte left, expected 4 bytes"));
}

TEST(Diagnosis, FindsAHeaderInLittleEndian)
{
    Bytes wrong = Config().bytes();
    std::swap(wrong[2], wrong[3]);
    std::swap(wrong[4], wrong[7]);
    Report const report = check(wrong);
    EXPECT_EQ(3, report.status);
    EXPECT_THAT(report.output,
                HasSubstr("no IPC_BROWSER_CONFIG within 2000 ms; type 6144 (in little-endian it is IPC_BROWSER_CONFIG) "
                          "announces 637534208 bytes of payload at offset 4 (26 00 00 00), 50 have come; in "
                          "little-endian the length is 38\n"));
}

TEST(Diagnosis, FindsALengthThatCountsTheHeader)
{
    Bytes wrong = Config().bytes();
    wrong[7] = static_cast<char>(wrong[7] + 8);
    Report const report = check(wrong, {});
    EXPECT_EQ(3, report.status);
    EXPECT_THAT(report.output, HasSubstr("38 have come; does the length count the header, too?\n"));
}

TEST(Diagnosis, FindsAWrongSyncByteAndSaysWhatStandsThere)
{
    EXPECT_THAT(
        checkEvents({'n', 'o', ' ', 'f', 'r', 'a', 'm', 'e'}),
        FailsWith("a frame begins with 'n' (6e 6f 20 66 72 61 6d 65) at byte 46 of the connection, expected the "
                  "sync byte 6d"));
}

TEST(Diagnosis, FindsFramesThatNobodyHasSubscribedTo)
{
    Bytes all = Config().bytes();
    Bytes const key = frame(1, 26, {0, 0, 0, 44});
    all.insert(all.end(), key.begin(), key.end());
    EXPECT_THAT(check(all), FailsWith("IPC_REMOTE_KEY: sent to a client that has not subscribed to it, expected the "
                                      "types of its list only; rule 8"));
}

TEST(Diagnosis, WarnsOfSizesInLittleEndian)
{
    EXPECT_THAT(checkConfig([](Config& config) { config.display = "80073804"; }),
                WarnsOf("displayWidth and displayHeight at offset 7: 32775 x 14340, expected at most 8192 a side; in "
                        "little-endian it is 1920 x 1080; rule 19, protocol.md#values\n"));
}

TEST(Diagnosis, WarnsOfANarrowScreen)
{
    EXPECT_THAT(
        checkConfig([](Config& config) { config.aux = "07800100"; }),
        WarnsOf("auxWidth and auxHeight at offset 12: 1920 x 256, expected no side more than 4 times the other"));
    EXPECT_THAT(checkConfig([](Config& config) { config.display = "01000400"; }).output, Not(HasSubstr("warned")))
        << "4 times is not more";
}

TEST(Diagnosis, WarnsOfAVolumeBeyond100)
{
    EXPECT_THAT(
        checkEvents(frame(1, 39, {30, 0, 0, 0})),
        WarnsOf("payload of IPC_VOLUME: value at offset 0: 503316480, expected 0 to 100; in little-endian it is "
                "30; rule 20"));
    EXPECT_THAT(checkEvents(frame(1, 39, {0, 0, 0, 101})), WarnsOf("value at offset 0: 101, expected 0 to 100; rule"));
    EXPECT_THAT(checkEvents(frame(1, 39, {0, 0, 0, 100})).output, Not(HasSubstr("warned")));
}

TEST(Diagnosis, WarnsOfALifeCycleTextThatOnlyLooksRight)
{
    EXPECT_THAT(checkEvents(frame(4, 49, hex("00000007 6f6e5061757365 00"))),
                WarnsOf("payload of IPC_APP_LIFECYCLE: text at offset 4: \"onPause\", which nobody acts on, expected "
                        "\"onpause\"; rule 21"));
}

TEST(Diagnosis, WarnsOfACommandWithoutAKey)
{
    EXPECT_THAT(checkEvents(frame(1, 26, {44, 0, 0, 0})),
                WarnsOf("payload of IPC_REMOTE_KEY: value at offset 0: command 0, which has no key, expected a command "
                        "of the table; in little-endian it is command 44; rule 22, protocol.md#key-commands\n"));
}

TEST(Diagnosis, WarnsOfATextThatIsNoUtf8)
{
    EXPECT_THAT(checkConfig([](Config& config) { config.portalUrl = "0003e92f00"; }),
                WarnsOf("portalUrl at offset 28: bytes e92f, expected UTF-8; rule 23"));
}

TEST(Diagnosis, WarnsOfALanguageThatIsNoTag)
{
    EXPECT_THAT(
        checkConfig([](Config& config) { config.language = "0006656e5f474200"; }),
        WarnsOf("language at offset 23: \"en_GB\", expected a language tag such as \"en\" or \"en-GB\"; rule 24"));
}

TEST(Diagnosis, WarnsOfWhatNobodyReads)
{
    EXPECT_THAT(checkConfig([](Config& config) { config.rest += "00"; }),
                WarnsOf("what follows the last field at offset 38: 1 byte, expected nothing; rule 25"));
    EXPECT_THAT(checkConfig([](Config& config) { config.displayFlag = "38"; }),
                WarnsOf("displayFlag at offset 11: 56, expected 0 or 1; rule 25"));
    EXPECT_THAT(checkConfig([](Config& config) { config.portalUrl = "0004782f0000"; }),
                WarnsOf("portalUrl at offset 30: a byte 00 within the text, expected one behind it only; rule 25"));
}

TEST(Diagnosis, MakesWarningsErrorsWhenStrict)
{
    Bytes const loud = frame(1, 39, {0, 0, 0, 101});
    Report const report = check(Config().bytes(), loud, {"--strict"});
    EXPECT_THAT(report, FailsWith("FAILED   plausible"));
    EXPECT_THAT(report.output, HasSubstr(" passed, 1 failed, 0 skipped\n"));
}

TEST(Diagnosis, ShowsWhatItUnderstood)
{
    Report const report = check(Config().bytes(), frame(4, 49, hex("00000003 c29b41 00")));
    EXPECT_THAT(report.output,
                HasSubstr("config   IPC_BROWSER_CONFIG forcePortalUrl=false macAddress=\"02:00:5E:10:20:30\" "
                          "displayWidth=1920 displayHeight=1080 "));
    EXPECT_THAT(report.output, HasSubstr("event    IPC_APP_LIFECYCLE text=\"\\u009bA\"\n"))
        << "nothing that a terminal obeys";
}

TEST(Diagnosis, CountsEventsThatComeAgain)
{
    Bytes events = frame(1, 39, {0, 0, 0, 30});
    Bytes const twice = events;
    events.insert(events.end(), twice.begin(), twice.end());
    EXPECT_THAT(checkEvents(events).output, HasSubstr("event    IPC_VOLUME value=30\n"
                                                      "event    IPC_VOLUME value=30, 1 more time\n"
                                                      "passed   framing"));
}

TEST(Diagnosis, ReportsAsJsonLines)
{
    Report const report = check(Config().bytes(), frame(1, 39, {0, 0, 0, 101}), {"--json"});
    std::vector<zelobox::Json> lines;
    std::istringstream stream(report.output);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(zelobox::Json::parse(line));
    }
    ASSERT_LT(3U, lines.size());
    EXPECT_EQ("en", lines.front()["config"]["fields"]["language"]);
    zelobox::Json const& plausible = lines[lines.size() - 2];
    EXPECT_EQ("plausible", plausible["case"]);
    EXPECT_EQ("warned", plausible["verdict"]);
    EXPECT_EQ("warning", plausible["findings"][0]["severity"]);
    EXPECT_EQ(0, plausible["findings"][0]["offset"]);
    EXPECT_EQ(20, plausible["findings"][0]["rule"]);
    EXPECT_EQ(1, lines.back()["summary"]["warnings"]);
}
