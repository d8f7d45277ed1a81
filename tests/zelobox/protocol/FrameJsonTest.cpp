#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>

#include "zelobox/protocol/BrowserConfigJson.h"
#include "zelobox/protocol/BrowserConfigPayload.h"
#include "zelobox/protocol/FrameJson.h"
#include "zelobox/protocol/MessageTable.h"

using namespace zelobox;
using testing::HasSubstr;

namespace {

Frame frame(uint8_t kind, uint16_t type, std::string const& hex)
{
    return {kind, type, bytesOfHex(hex)};
}

Frame parsed(std::string const& text)
{
    Json const json = Json::parse(text);
    JsonFields fields(json, "test");
    Frame const made = frameFrom(fields, defaultConfig());
    fields.end();
    return made;
}

std::string errorOf(std::string const& text)
{
    try {
        parsed(text);
    } catch (InputError const& error) {
        return error.what();
    }
    return "no error";
}

/// @return what `fieldsOf` gives, as a line of a scenario
Json lineFor(Frame const& shown)
{
    Json line = {{"frame", shown.type}, {"kind", shown.kind}};
    line.update(fieldsOf(shown));
    line.erase("inexact");
    return line;
}

struct Sample {
    char const* text;
    Frame frame;
};

std::vector<Sample> samples()
{
    return {
        {"IPC_ALLOWED_MESSAGE_LIST types=[8,49]", frame(0, 1, "00000008 00000031")},
        {"IPC_ALLOWED_MESSAGE_LIST types=[]", frame(0, 1, "")},
        {"IPC_RECORDER_STATS value=7", frame(0, 15, "07")},
        {"IPC_CONFIG_REQUEST", frame(0, 23, "")},
        {"IPC_REMOTE_KEY command=44 modifier=1 (Return)", frame(1, 26, "0001002c")},
        {"IPC_REMOTE_KEY command=9029 modifier=0 (none)", frame(1, 26, "00002345")},
        {"IPC_REMOTE_KEY command=2 modifier=0 rest=128 (Home)", frame(1, 26, "80000002")},
        {"IPC_UNHANDLED_27 bytes=\"0102\"", frame(0, 27, "0102")},
        {"IPC_VIDEO_WINDOW x=1920 y=1080 width=300 height=4464", frame(0, 29, "0780 0438 012c 1170 00")},
        {"IPC_PLAYER_PLAYBACK_INFO record=\"010000000000000000000000000000000000000000000000000000000000\"",
         frame(0, 32, "010000000000000000000000000000000000000000000000000000000000")},
        {"IPC_PLAYER_MEDIA_INFO name=\"a\" flag=true value64=2 streams=[]",
         frame(0, 40, "00000001 61 00 01 0000000000000002 0000")},
        {"IPC_PLAYER_MEDIA_INFO name=\"\" flag=false value64=0 "
         "streams=[{\"number1\":1,\"number2\":2,\"number3\":3,\"text1\":\"en\",\"text2\":\"\"}]",
         frame(0, 40, "00000000 00 00 0000000000000000 0001 00000001 00000002 00000003 00000002 656e 00 00000000 00")},
        {"IPC_VIDEO_WINDOW_MODE text=\"box\"", frame(4, 44, "00000003 626f78 00")},
        {"IPC_MUTE value=1", frame(1, 58, "00000001")},
        {"type 99 value=4294967296", frame(2, 99, "00000001 00000000")},
        {"type 99 values=[1,2]", frame(3, 99, "00000002 00000001 00000002")},
        {"type 99 strings=[\"a\",\"\"]", frame(5, 99, "00000002 00000001 61 00 00000000 00")},
        {"type 99 bytes=\"00\"", frame(200, 99, "00")},
    };
}

} // namespace

TEST(FrameFields, NamesEveryField)
{
    for (Sample const& sample : samples()) {
        EXPECT_EQ(sample.text, textOf(sample.frame));
    }
}

TEST(FrameFields, GivesFieldsThatMakeTheSameFrameAgain)
{
    for (Sample const& sample : samples()) {
        EXPECT_EQ(sample.frame, parsed(lineFor(sample.frame).dump())) << sample.text;
    }
}

TEST(FrameFields, ShowsAConfiguration)
{
    EXPECT_EQ("IPC_BROWSER_CONFIG forcePortalUrl=false macAddress=\"02:00:5E:10:20:30\" displayWidth=1920 "
              "displayHeight=1080 displayFlag=false auxWidth=0 auxHeight=0 apiMode=\"tv\" language=\"en\" "
              "portalUrl=\"http://portal.example/\" auxText1=\"\" auxValue=1 auxText2=\"\"",
              textOf({0, 24, payloadOf(defaultConfig())}));
}

TEST(FrameFields, ShowsTheBytesOfWhatItsFieldsDoNotSay)
{
    EXPECT_EQ("IPC_VOLUME value=0 inexact=true bytes=\"0001\"", textOf(frame(1, 39, "0001")));
    EXPECT_EQ("IPC_VOLUME value=1 inexact=true bytes=\"0000000105\"", textOf(frame(1, 39, "0000000105")));
    EXPECT_EQ("IPC_APP_LIFECYCLE text=\"\" inexact=true bytes=\"00000009616263\"",
              textOf(frame(4, 49, "00000009 616263")));
    EXPECT_EQ("IPC_APP_LIFECYCLE text=\"a\" inexact=true bytes=\"000000016107\"",
              textOf(frame(4, 49, "00000001 61 07")));
    EXPECT_EQ("IPC_BROWSER_CONFIG inexact=true bytes=\"01\"", textOf(frame(0, 24, "01")));
    EXPECT_EQ("IPC_PLAYER_MEDIA_INFO inexact=true bytes=\"000000016100\"", textOf(frame(0, 40, "00000001 61 00")));
    EXPECT_EQ("IPC_ALLOWED_MESSAGE_LIST types=[1] inexact=true bytes=\"000000010000\"",
              textOf(frame(0, 1, "00000001 0000")));
    EXPECT_EQ("IPC_VIDEO_WINDOW x=1 y=0 width=0 height=0 inexact=true bytes=\"0001\"", textOf(frame(0, 29, "0001")));
}

TEST(FrameFields, CutsAtEveryByteWithoutHarm)
{
    for (Sample const& sample : samples()) {
        Frame cut = sample.frame;
        while (!cut.payload.empty()) {
            cut.payload.pop_back();
            EXPECT_NE("", textOf(cut));
        }
    }
}

TEST(FrameFields, ReplacesBytesThatAreNoText)
{
    EXPECT_EQ("IPC_APP_LIFECYCLE text=\"\xEF\xBF\xBD\"", textOf(frame(4, 49, "00000001 ff 00")));
}

TEST(FrameFromFields, TakesNamesAndNumbers)
{
    EXPECT_EQ(frame(1, 39, "0000001e"), parsed(R"({"frame":"IPC_VOLUME","value":30})"));
    EXPECT_EQ(frame(1, 39, "0000001e"), parsed(R"({"frame":39,"value":30})"));
}

TEST(FrameFromFields, TakesAnotherKindAndBytes)
{
    EXPECT_EQ(frame(4, 39, "00000001 61 00"), parsed(R"({"frame":"IPC_VOLUME","kind":4,"text":"a"})"));
    EXPECT_EQ(frame(1, 39, "0102"), parsed(R"({"frame":"IPC_VOLUME","bytes":"01 02"})"));
}

TEST(FrameFromFields, ReplacesOnlyTheFieldsOfAConfigurationThatAreThere)
{
    IPCBrowserConfig config;
    ASSERT_TRUE(config.read(parsed(R"({"frame":"IPC_BROWSER_CONFIG","language":"de"})").payload));
    EXPECT_EQ("de", config.language);
    EXPECT_EQ(1920, config.displayWidth);
}

TEST(FrameFromFields, NamesTheFieldThatIsWrong)
{
    EXPECT_THAT(errorOf(R"({"frame":"IPC_VOLUM"})"), HasSubstr("field \"frame\": \"IPC_VOLUM\" is no message"));
    EXPECT_THAT(errorOf(R"({"frame":65536})"), HasSubstr("field \"frame\": expected a whole number from 0 to 65535"));
    EXPECT_THAT(errorOf(R"({"frame":"IPC_VOLUME"})"), HasSubstr("field \"value\": is missing"));
    EXPECT_THAT(errorOf(R"({"frame":"IPC_VOLUME","value":4294967296})"), HasSubstr("field \"value\": expected"));
    EXPECT_THAT(errorOf(R"({"frame":"IPC_VOLUME","valeu":1,"value":1})"), HasSubstr("field \"valeu\": is unknown"));
    EXPECT_THAT(errorOf(R"({"frame":"IPC_VOLUME","bytes":"0g"})"),
                HasSubstr("field \"bytes\": \"0g\" is not hexadecimal"));
    EXPECT_THAT(errorOf(R"({"frame":"IPC_VOLUME","bytes":"012"})"), HasSubstr("has half a byte"));
    EXPECT_THAT(errorOf(R"({"frame":1,"types":[4294967296]})"), HasSubstr("field \"types\": expected whole numbers"));
    EXPECT_THAT(errorOf(R"({"frame":99,"kind":5,"strings":[1]})"), HasSubstr("field \"strings\": expected texts"));
    EXPECT_THAT(errorOf(R"({"frame":40,"streams":[{"number4":1}]})"), HasSubstr("field \"number4\": is unknown"));
    EXPECT_THAT(errorOf(R"({"frame":32,"record":"xx"})"), HasSubstr("field \"record\": \"xx\" is not hexadecimal"));
}

namespace {

/// @return the fields of a vector in the form of this program; null if it has none, or others
Json fieldsOfVector(Json const& vector)
{
    Json fields = vector["fields"];
    bool const isPlain = vector["class"] == "IPCMessage";
    uint16_t const type = vector["type"].get<uint16_t>();
    if (!fields.is_object() || type == IPC_REMOTE_KEY ||
        (isPlain && (type == IPC_VIDEO_WINDOW || type == IPC_ALLOWED_MESSAGE_LIST))) {
        return Json();
    }
    if (fields.contains("info")) {
        return fields["info"];
    }
    if (fields.contains("types")) {
        std::sort(fields["types"].begin(), fields["types"].end());
    }
    for (auto const& [theirs, ours] : {std::pair{"record", "record"}, std::pair{"payload", "bytes"}}) {
        if (fields.contains(theirs)) {
            std::string const bytes = hexOf(bytesOfHex(fields[theirs].get<std::string>()));
            fields = bytes.empty() ? Json::object() : Json{{ours, bytes}};
        }
    }
    return fields;
}

} // namespace

/// The vectors that the library's own tests decode.
TEST(FrameFields, AgreesWithTheVectors)
{
    size_t compared = 0;
    for (char const* const file : {"configuration.json", "messages.json", "player.json"}) {
        std::ifstream stream(std::string(ZELO_VECTORS_DIR "/") + file);
        for (Json const& vector : Json::parse(stream)) {
            Json const expected = fieldsOfVector(vector);
            Json const fields = fieldsOf({vector["kind"].get<uint8_t>(), vector["type"].get<uint16_t>(),
                                          bytesOfHex(vector["bytes"].get<std::string>())});
            for (auto const& field : expected.items()) {
                EXPECT_EQ(field.value(), fields.value(field.key(), Json())) << vector["name"] << " " << field.key();
                ++compared;
            }
        }
    }
    EXPECT_GE(compared, 100U);
}
