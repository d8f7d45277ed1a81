// A configuration message that finds no memory.
#include <gtest/gtest.h>

#include <new>

#include "cobalt/CobaltManager.h"
#include "testkit/Allocations.h"
#include "testkit/ConfigPayload.h"

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

} // namespace

TEST(ConfigFailure, LeavesTheRecordWhenMemoryRunsOut)
{
    Config config;
    config.apiMode = "mode";
    config.language = "language";
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
