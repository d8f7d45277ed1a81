// Middlewares that each make one mistake, and what the check says of it.
#include <sstream>

#include "tests/zelobox/check/Diagnosis.h"

using namespace diagnosis;
using testing::HasSubstr;

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
