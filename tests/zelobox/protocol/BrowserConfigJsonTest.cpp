#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zelobox/protocol/BrowserConfigJson.h"
#include "zelobox/protocol/BrowserConfigPayload.h"

using namespace zelobox;
using testing::HasSubstr;

namespace {

IPCBrowserConfig parsed(std::string const& text, IPCBrowserConfig config = defaultConfig())
{
    Json const json = Json::parse(text);
    JsonFields fields(json, "test");
    mergeConfig(fields, config);
    fields.end();
    return config;
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

/// Every field different from its neighbours and from its default.
char const everyField[] =
    R"({"forcePortalUrl":true,"macAddress":"A1:B2:C3:D4:E5:F6","displayWidth":258,"displayHeight":772,)"
    R"("displayFlag":true,"auxWidth":1286,"auxHeight":1800,"apiMode":"mode","language":"de",)"
    R"("portalUrl":"url","auxText1":"one","auxValue":255,"auxText2":"two"})";

} // namespace

TEST(BrowserConfigJson, WritesTheSmallestPayload)
{
    IPCBrowserConfig config;
    config.macAddress = "0A:1B:2C:3D:4E:5F";
    config.displayWidth = 0x0780;
    config.displayHeight = 0x0438;
    config.auxValue = 1;
    EXPECT_EQ("000a1b2c3d4e5f0780043800000000000001000001000001000001000100 0100",
              hexOf(payloadOf(config)).insert(60, " "));
}

TEST(BrowserConfigJson, WritesEveryFieldInItsPlace)
{
    EXPECT_EQ("01"
              "a1b2c3d4e5f6"
              "0102"
              "0304"
              "01"
              "0506"
              "0708"
              "00056d6f646500"
              "0003646500"
              "000475726c00"
              "00046f6e6500"
              "ff"
              "000474776f00",
              hexOf(payloadOf(parsed(everyField))));
}

TEST(BrowserConfigJson, ComesBackFromItsPayload)
{
    IPCBrowserConfig read;
    ASSERT_TRUE(read.read(payloadOf(parsed(everyField))));
    EXPECT_EQ(Json::parse(everyField), jsonOf(read));
}

TEST(BrowserConfigJson, KeepsWhatTheFileDoesNotMention)
{
    IPCBrowserConfig const config = parsed(R"({"language":"fr"})", parsed(everyField));
    Json expected = Json::parse(everyField);
    expected["language"] = "fr";
    EXPECT_EQ(expected, jsonOf(config));
}

TEST(BrowserConfigJson, RefusesNumbersThatDoNotFit)
{
    EXPECT_EQ(65535, parsed(R"({"auxWidth":65535})").auxWidth);
    EXPECT_EQ("test: field \"auxWidth\": expected a whole number from 0 to 65535, found 65536",
              errorOf(R"({"auxWidth":65536})"));
    EXPECT_EQ("test: field \"auxValue\": expected a whole number from 0 to 255, found 256",
              errorOf(R"({"auxValue":256})"));
    EXPECT_THAT(errorOf(R"({"displayHeight":-1})"), HasSubstr("found -1"));
    EXPECT_THAT(errorOf(R"({"displayHeight":1.5})"), HasSubstr("found 1.5"));
    EXPECT_THAT(errorOf(R"({"displayHeight":"1"})"), HasSubstr("found \"1\""));
}

TEST(BrowserConfigJson, RefusesOtherTypes)
{
    EXPECT_EQ("test: field \"displayFlag\": expected true or false, found 1", errorOf(R"({"displayFlag":1})"));
    EXPECT_EQ("test: field \"language\": expected a text in quotes, found null", errorOf(R"({"language":null})"));
}

TEST(BrowserConfigJson, RefusesAddressesThatAreNone)
{
    for (char const* const address :
         {"", "0A:1B:2C:3D:4E", "0A:1B:2C:3D:4E:5F:60", "0A:1B:2C:3D:4E:5G", "0A:1B:2C:3D:4E:5"}) {
        EXPECT_THAT(errorOf(Json{{"macAddress", address}}.dump()),
                    HasSubstr("field \"macAddress\": expected a text like"))
            << address;
    }
}

TEST(BrowserConfigJson, RefusesATextThatItsLengthCannotCount)
{
    std::string const longest(65534, 'x');
    EXPECT_EQ(longest, parsed(Json{{"portalUrl", longest}}.dump()).portalUrl);
    EXPECT_THAT(errorOf(Json{{"portalUrl", longest + "x"}}.dump()),
                HasSubstr("\"portalUrl\": is longer than 65534 bytes"));
}

TEST(BrowserConfigJson, RefusesFieldsThatItDoesNotKnow)
{
    EXPECT_THAT(errorOf(R"({"volume":1})"),
                testing::StartsWith("test: field \"volume\": is unknown here; known are: apiMode, "));
}
