#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "testkit/Callbacks.h"
#include "testkit/HostStandIn.h"
#include "testkit/LoadedLibrary.h"
#include "testkit/Middleware.h"
#include "testkit/Process.h"
#include "testkit/Timely.h"

namespace {

using timely::eventually;

/// For both link orders of the library.
class Unload : public testing::TestWithParam<char const*> {
protected:
    Unload() : library(GetParam()) {}

    void start()
    {
        middleware->serveStart([this] { library.start(callbacks::all()); });
    }
    void expectGone()
    {
        EXPECT_TRUE(libraryThreadsEnd());
        EXPECT_FALSE(isMapped(GetParam()));
        EXPECT_EQ(nullptr, dlopen(GetParam(), RTLD_NOLOAD | RTLD_LAZY));
    }

    std::optional<Middleware> middleware{std::in_place};
    LoadedLibrary library;
};

INSTANTIATE_TEST_SUITE_P(Linked, Unload, testing::Values(ZELO_LIBRARY, ZELO_LIBRARY_REVERSED),
                         [](testing::TestParamInfo<char const*> const& instance) {
                             return instance.index == 0 ? "InOrder" : "InReverse";
                         });

} // namespace

TEST_P(Unload, RemovesALibraryThatNeverStarted)
{
    ASSERT_TRUE(isMapped(GetParam()));
    library.unload();
    expectGone();
}

TEST_P(Unload, StopsARunningManagerFirst)
{
    start();
    library.unload();
    expectGone();
    EXPECT_EQ(1U, standin::logLines("Closing connection").size());
    EXPECT_TRUE(middleware->link().waitForClose());
}

TEST_P(Unload, EndsAStartThatWaits)
{
    std::thread waiting([this] { library.start({}); });
    middleware->acceptClient();
    library.unload();
    waiting.join();
    expectGone();
    EXPECT_EQ(1U, standin::logLines("Configuration failed").size());
    EXPECT_EQ(1U, standin::logLines("Started.....").size());
}

TEST_P(Unload, EndsAStartThatWaitsWithoutAServer)
{
    middleware.reset();
    std::thread waiting([this] { library.start({}); });
    ASSERT_TRUE(standin::waitForLog("ipc_connection"));
    library.unload();
    waiting.join();
    expectGone();
}

/// Whoever destroys the configuration first leaves a callback that reads a dead text.
TEST_P(Unload, KeepsTheConfigurationUntilTheLastCallbackIsOver)
{
    start();
    BlockingCall unloading;
    auto const getEnv = library.getEnv();
    std::string language;
    std::atomic<bool> entered{false};
    callbacks::setBody([&] {
        entered = true;
        EXPECT_TRUE(unloading.waitUntilBlocked());
        getEnv(ZeloEnvLanguage, language);
    });
    middleware->sendKey(2);
    ASSERT_TRUE(eventually([&] { return entered.load(); }));
    unloading.run([this] { library.unload(); });
    unloading.join();
    EXPECT_EQ(std::string(middlewareLanguage), language);
    expectGone();
}

TEST_P(Unload, DestroysTheDrmObject)
{
    library.cdm(1);
    standin::clearDrmCalls();
    library.unload();
    EXPECT_EQ(std::vector<std::string>{"destroy"}, standin::drmCalls());
    expectGone();
}

TEST_P(Unload, MayBeFollowedByANewLoad)
{
    int const descriptors = openDescriptors();
    for (int i = 0; i < 50; ++i) {
        start();
        if (i % 2 == 0) {
            library.stop();
        }
        library.unload();
        middleware->link().close();
        expectGone();
        library.load(GetParam());
    }
    EXPECT_EQ(descriptors, openDescriptors());
}
