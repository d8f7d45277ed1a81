// How a configuration message changes the record.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "cobalt/CobaltManager.h"
#include "testkit/ConfigPayload.h"
#include "testkit/HostStandIn.h"

namespace {

using Config = CobaltManager::Config;
using testing::ElementsAre;
using testing::IsEmpty;

std::string const apiLine = "3 92 cobalt/CobaltManager New API mode: ";
std::string const portalLine = "3 119 cobalt/CobaltManager New portal url: ";

/// @return what merging @p payload has logged
std::vector<std::string> merge(Config& config, ConfigPayload payload)
{
    standin::clearLog();
    EXPECT_TRUE(config.parse(payload.bytes()));
    std::vector<std::string> logged;
    for (standin::LogLine const& line : standin::logLines()) {
        logged.push_back(std::to_string(line.level) + " " + std::to_string(line.line) + " " + line.file + " " +
                         line.message);
    }
    return logged;
}

std::string withZero(std::string const& before, std::string const& after)
{
    return before + '\0' + after;
}

} // namespace

TEST(Config, BeginsWithItsDefaults)
{
    Config const config;
    EXPECT_EQ("", config.macAddress);
    EXPECT_EQ(0U, config.displayWidth);
    EXPECT_EQ(0U, config.displayHeight);
    EXPECT_EQ(0U, config.auxWidth);
    EXPECT_EQ(0U, config.auxHeight);
    EXPECT_FALSE(config.displayFlag);
    EXPECT_EQ("", config.apiMode + config.language + config.portalUrl + config.auxText1 + config.auxText2);
    EXPECT_EQ(1U, config.auxValue);
    EXPECT_TRUE(config.properties.empty());
    EXPECT_EQ("", config.auxText3);
    EXPECT_EQ(0U, config.volume);
    EXPECT_FALSE(config.muted);
}

TEST(Config, OfTheProcessBeginsWithItsDefaultsToo)
{
    EXPECT_EQ("", CobaltManager::_config.language);
    EXPECT_EQ(1U, CobaltManager::_config.auxValue);
    EXPECT_FALSE(CobaltManager::_config.muted);
}

TEST(Config, HasItsFieldsInTheirOrder)
{
    Config const c;
    std::vector<void const*> const fields = {&c.macAddress, &c.displayWidth, &c.displayHeight, &c.auxWidth,
                                             &c.auxHeight,  &c.displayFlag,  &c.apiMode,       &c.language,
                                             &c.portalUrl,  &c.auxText1,     &c.auxValue,      &c.auxText2,
                                             &c.properties, &c.auxText3,     &c.volume,        &c.muted};
    EXPECT_EQ(static_cast<void const*>(&c), fields.front());
    EXPECT_TRUE(std::is_sorted(fields.begin(), fields.end()));
}

TEST(Config, TakesTheSmallestPayloadWithoutAWordInTheLog)
{
    ConfigPayload payload;
    ASSERT_EQ(32U, payload.bytes().size());
    Config config;
    EXPECT_THAT(merge(config, payload), IsEmpty());
    EXPECT_EQ("0A:1B:2C:3D:4E:5F", config.macAddress);
    EXPECT_EQ(1920U, config.displayWidth);
    EXPECT_EQ(1080U, config.displayHeight);
    EXPECT_EQ("", config.apiMode + config.language + config.portalUrl + config.auxText1 + config.auxText2);
}

TEST(Config, LogsAnEmptyPortalAddressThatIsForced)
{
    for (int const force : {1, 0x80, 0xFF}) {
        ConfigPayload payload;
        payload.force = static_cast<uint8_t>(force);
        Config config;
        EXPECT_THAT(merge(config, payload), ElementsAre(portalLine)) << force;
    }
}

TEST(Config, KeepsTheFirstDeviceAddress)
{
    Config config;
    ConfigPayload payload;
    payload.address = {0, 1, 2, 0xFD, 0xFE, 0xFF};
    merge(config, payload);
    merge(config, ConfigPayload());
    EXPECT_EQ("00:01:02:FD:FE:FF", config.macAddress);
}

TEST(Config, KeepsTheFirstDisplaySizeWithItsFlag)
{
    Config config;
    ConfigPayload payload;
    payload.displayFlag = 1;
    merge(config, payload);
    payload.displayWidth = 1280;
    payload.displayHeight = 720;
    payload.displayFlag = 0;
    merge(config, payload);
    EXPECT_EQ(1920U, config.displayWidth);
    EXPECT_EQ(1080U, config.displayHeight);
    EXPECT_TRUE(config.displayFlag);
}

TEST(Config, KeepsADisplaySizeOfWhichOneNumberIsZero)
{
    for (bool const wide : {false, true}) {
        Config config;
        ConfigPayload payload;
        payload.displayWidth = wide ? 5 : 0;
        payload.displayHeight = wide ? 0 : 7;
        merge(config, payload);
        merge(config, ConfigPayload());
        EXPECT_EQ(payload.displayWidth, config.displayWidth);
        EXPECT_EQ(payload.displayHeight, config.displayHeight);
    }
}

TEST(Config, TakesTheDisplayFlagAgainWhileThereIsNoSize)
{
    Config config;
    ConfigPayload payload;
    payload.displayWidth = 0;
    payload.displayHeight = 0;
    payload.displayFlag = 0x10;
    merge(config, payload);
    EXPECT_TRUE(config.displayFlag);
    merge(config, ConfigPayload());
    EXPECT_FALSE(config.displayFlag);
    EXPECT_EQ(1920U, config.displayWidth);
}

TEST(Config, KeepsTheFirstAuxiliarySize)
{
    for (auto const& first : {std::make_pair(640, 480), std::make_pair(640, 0), std::make_pair(0, 480)}) {
        Config config;
        merge(config, ConfigPayload());
        ConfigPayload payload;
        payload.auxWidth = static_cast<uint16_t>(first.first);
        payload.auxHeight = static_cast<uint16_t>(first.second);
        merge(config, payload);
        payload.auxWidth = 1;
        payload.auxHeight = 2;
        merge(config, payload);
        EXPECT_EQ(static_cast<uint32_t>(first.first), config.auxWidth);
        EXPECT_EQ(static_cast<uint32_t>(first.second), config.auxHeight);
    }
}

TEST(Config, LogsTheApiModeWhenItChanges)
{
    Config config;
    ConfigPayload payload;
    payload.apiMode = "v2";
    EXPECT_THAT(merge(config, payload), ElementsAre(apiLine + "v2"));
    EXPECT_THAT(merge(config, payload), IsEmpty());
    payload.apiMode = "v3";
    EXPECT_THAT(merge(config, payload), ElementsAre(apiLine + "v3"));
    payload.apiMode = "";
    EXPECT_THAT(merge(config, payload), ElementsAre(apiLine));
    EXPECT_EQ("", config.apiMode);
}

TEST(Config, LogsThePortalAddressWhenItChangesOrIsForced)
{
    Config config;
    ConfigPayload payload;
    payload.portalUrl = "http://p/";
    EXPECT_THAT(merge(config, payload), ElementsAre(portalLine + "http://p/"));
    EXPECT_THAT(merge(config, payload), IsEmpty());
    payload.force = 1;
    EXPECT_THAT(merge(config, payload), ElementsAre(portalLine + "http://p/"));
    EXPECT_EQ("http://p/", config.portalUrl);
}

TEST(Config, LogsTheApiModeBeforeThePortalAddress)
{
    Config config;
    ConfigPayload payload;
    payload.apiMode = "v2";
    payload.portalUrl = "http://%s/";
    EXPECT_THAT(merge(config, payload), ElementsAre(apiLine + "v2", portalLine + "http://%s/"));
}

TEST(Config, FollowsTheQuietFieldsWithoutAWordInTheLog)
{
    Config config;
    for (char const* const text : {"one", "two", ""}) {
        ConfigPayload payload;
        payload.language = text;
        payload.auxText1 = std::string("first ") + text;
        payload.auxText2 = std::string("second ") + text;
        payload.auxValue = static_cast<uint8_t>(payload.auxText1.size());
        EXPECT_THAT(merge(config, payload), IsEmpty());
        EXPECT_EQ(text, config.language);
        EXPECT_EQ(payload.auxText1, config.auxText1);
        EXPECT_EQ(payload.auxText2, config.auxText2);
        EXPECT_EQ(payload.auxValue, config.auxValue);
    }
}

TEST(Config, CutsTheLanguageAloneAtItsFirstZeroByte)
{
    Config config;
    ConfigPayload payload;
    payload.apiMode = withZero("a", "b");
    payload.language = withZero("en", "x");
    payload.portalUrl = withZero("c", "d");
    payload.auxText1 = withZero("e", "f");
    payload.auxText2 = withZero("g", "h");
    merge(config, payload);
    EXPECT_EQ("en", config.language);
    EXPECT_EQ(payload.apiMode, config.apiMode);
    EXPECT_EQ(payload.portalUrl, config.portalUrl);
    EXPECT_EQ(payload.auxText1, config.auxText1);
    EXPECT_EQ(payload.auxText2, config.auxText2);
}

TEST(Config, SeesAChangeBehindAZeroByte)
{
    Config config;
    ConfigPayload payload;
    payload.apiMode = withZero("a", "b");
    merge(config, payload);
    payload.apiMode = withZero("a", "c");
    EXPECT_THAT(merge(config, payload), ElementsAre(apiLine + "a"));
    EXPECT_EQ(payload.apiMode, config.apiMode);
}

TEST(Config, KeepsTheInitialLanguageThatIsSentAgain)
{
    Config config;
    config.language = "de";
    ConfigPayload payload;
    payload.language = withZero("de", "AT");
    EXPECT_THAT(merge(config, payload), IsEmpty());
    EXPECT_EQ("de", config.language);
}

TEST(Config, LeavesTheFieldsOfOthersAlone)
{
    Config config;
    config.properties["key"] = "value";
    config.auxText3 = "text";
    config.volume = 30;
    config.muted = true;
    merge(config, ConfigPayload());
    EXPECT_EQ("value", config.properties["key"]);
    EXPECT_EQ("text", config.auxText3);
    EXPECT_EQ(30U, config.volume);
    EXPECT_TRUE(config.muted);
}

TEST(Config, LogsEachLineAfterItsOwnFieldAndBeforeTheNext)
{
    Config config;
    std::vector<std::string> seen;
    standin::onLog([&](standin::LogLine const&) {
        seen.push_back(config.apiMode + "|" + config.language + "|" + config.auxText2 + "|" + config.portalUrl);
    });
    ConfigPayload payload;
    payload.apiMode = "api";
    payload.language = "pt";
    payload.auxText2 = "aux";
    payload.portalUrl = "url";
    merge(config, payload);
    standin::onLog({});
    EXPECT_THAT(seen, ElementsAre("api|||", "api|pt|aux|url"));
}
