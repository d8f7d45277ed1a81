// Configuration messages that are not all there, and a record that is read while it changes.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "cobalt/CobaltManager.h"
#include "testkit/Allocations.h"
#include "testkit/ConfigPayload.h"
#include "testkit/HostStandIn.h"

namespace {

using Config = CobaltManager::Config;

ConfigPayload other()
{
    ConfigPayload payload;
    payload.force = 1;
    payload.address = {1, 2, 3, 4, 5, 6};
    payload.displayFlag = 1;
    payload.auxWidth = 640;
    payload.auxHeight = 480;
    payload.apiMode = "another mode";
    payload.language = "another language";
    payload.portalUrl = "another portal";
    payload.auxText1 = "another first text";
    payload.auxValue = 9;
    payload.auxText2 = "another last text";
    return payload;
}

/// A record with something in every field, the first-only ones apart, so that every rule could strike.
Config filled()
{
    Config config;
    config.apiMode = "mode";
    config.language = "language";
    config.portalUrl = "portal";
    config.auxText1 = "first text";
    config.auxValue = 5;
    config.auxText2 = "last text";
    config.properties["key"] = "value";
    config.auxText3 = "text";
    config.volume = 30;
    config.muted = true;
    return config;
}

void expectSame(Config const& expected, Config const& actual)
{
    EXPECT_EQ(expected.macAddress, actual.macAddress);
    EXPECT_EQ(expected.displayWidth, actual.displayWidth);
    EXPECT_EQ(expected.displayHeight, actual.displayHeight);
    EXPECT_EQ(expected.displayFlag, actual.displayFlag);
    EXPECT_EQ(expected.auxWidth, actual.auxWidth);
    EXPECT_EQ(expected.auxHeight, actual.auxHeight);
    EXPECT_EQ(expected.apiMode, actual.apiMode);
    EXPECT_EQ(expected.language, actual.language);
    EXPECT_EQ(expected.portalUrl, actual.portalUrl);
    EXPECT_EQ(expected.auxText1, actual.auxText1);
    EXPECT_EQ(expected.auxValue, actual.auxValue);
    EXPECT_EQ(expected.auxText2, actual.auxText2);
    EXPECT_EQ(expected.properties, actual.properties);
    EXPECT_EQ(expected.auxText3, actual.auxText3);
    EXPECT_EQ(expected.volume, actual.volume);
    EXPECT_EQ(expected.muted, actual.muted);
}

/// Expects the one line of bad data, and nothing else to happen.
void expectRefused(std::vector<char> const& payload)
{
    Config config = filled();
    standin::clearLog();
    EXPECT_TRUE(config.parse(payload));
    expectSame(filled(), config);
    std::vector<standin::LogLine> const lines = standin::logLines();
    ASSERT_EQ(1U, lines.size());
    EXPECT_EQ(2, lines[0].level);
    EXPECT_EQ(123, lines[0].line);
    EXPECT_EQ("cobalt/CobaltManager", lines[0].file);
    EXPECT_EQ("Browser config data failed", lines[0].message);
}

} // namespace

TEST(ConfigFailure, LeavesTheRecordAtEveryCut)
{
    std::vector<char> const whole = other().bytes();
    for (auto end = whole.begin(); end != whole.end(); ++end) {
        SCOPED_TRACE(testing::Message() << end - whole.begin() << " bytes");
        expectRefused(std::vector<char>(whole.begin(), end));
    }
}

TEST(ConfigFailure, LeavesTheRecordWhenMemoryRunsOut)
{
    Config config = filled();
    config.portalUrl = "a portal that is too long for the object itself";
    Config const before = config;
    ConfigPayload payload = other();
    payload.force = 0;
    payload.apiMode = config.apiMode; // nothing to log: the logger would run out of memory as well
    payload.portalUrl = config.portalUrl;
    std::vector<char> const bytes = payload.bytes();
    size_t failures = 0;
    for (bool merged = false; !merged;) {
        allocations::Budget const budget(1 << 20, failures);
        try {
            config.parse(bytes);
            merged = true;
        } catch (std::bad_alloc const&) {
            ++failures;
        }
        if (!merged) {
            ASSERT_EQ(before.language, config.language) << failures;
        }
    }
    EXPECT_LE(4U, failures);
    EXPECT_EQ(payload.language, config.language);
}

TEST(ConfigReaders, SeeOneLanguageOrTheOther)
{
    ConfigPayload one;
    one.language.assign(60000, 'o'); // long, so that a reader has the time to be disturbed
    ConfigPayload two;
    two.language.assign(50000, 't');
    std::atomic<bool> done{false};
    std::atomic<bool> begun{false};
    std::thread reader([&] {
        while (!done) {
            std::string const language = CobaltManager::copyOfLanguage();
            unsigned width;
            unsigned height;
            CobaltManager::displaySize(width, height);
            EXPECT_TRUE(language.empty() || language == one.language || language == two.language);
            EXPECT_TRUE(width == 0 || width == 1920) << width;
            begun = true;
        }
    });
    while (!begun) {
        std::this_thread::yield();
    }
    for (int i = 0; i < 2000; ++i) {
        CobaltManager::_config.parse(i % 2 == 0 ? one.bytes() : two.bytes());
    }
    done = true;
    reader.join();
    EXPECT_EQ(two.language, CobaltManager::copyOfLanguage());
    CobaltManager::_config = Config();
}
