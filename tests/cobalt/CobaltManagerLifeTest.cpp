// The manager from its construction to its end.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <stdlib.h>

#include <future>
#include <memory>
#include <thread>

#include "testkit/Allocations.h"
#include "testkit/Interpose.h"
#include "testkit/ManagerSupport.h"
#include "testkit/Stopping.h"

using namespace testlink;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class ManagerLife : public Managed {
protected:
    ~ManagerLife() override { unsetenv("ZELO_LANG_CODE"); }

    /// Waits for the configuration on a thread of its own, as a start does.
    std::future<bool> waitInBackground()
    {
        std::promise<void> held;
        std::future<void> const isHeld = held.get_future();
        std::future<bool> result = std::async(std::launch::async, [this, &held] {
            CobaltManager::Hold const hold(*manager);
            held.set_value();
            return manager->waitForConfiguration();
        });
        isHeld.wait();
        return result;
    }
};

bool isReady(std::future<bool> const& result, Milliseconds deadline)
{
    return result.wait_for(deadline) == std::future_status::ready;
}

} // namespace

TEST_F(ManagerLife, BeginsWithoutWaitingForTheConnection)
{
    EXPECT_GT(Milliseconds(5000), timeOf([this] { manager.emplace(callbacks::all()); }));
    EXPECT_THAT(callbacks::calls(), IsEmpty());
    middleware.accept();
}

TEST_F(ManagerLife, KeepsACopyOfTheCallbacks)
{
    ZeloCallbacks temporary = callbacks::all();
    start(temporary);
    temporary = {};
    middleware.send(numberFrame(IPC_VOLUME, 1));
    EXPECT_TRUE(callbacks::waitFor("volume 1"));
}

TEST_F(ManagerLife, CallsTheHostOnTheConnectionsThread)
{
    start();
    std::atomic<bool> own{false};
    std::string name;
    callbacks::setBody([&] {
        char buffer[16] = {};
        pthread_getname_np(pthread_self(), buffer, sizeof buffer);
        name = buffer;
        own = STBThread::isOwnThread();
    });
    EXPECT_FALSE(STBThread::isOwnThread());
    sendAndWait(numberFrame(IPC_VOLUME, 1));
    EXPECT_TRUE(own);
    EXPECT_EQ("ipc_cln", name);
}

TEST_F(ManagerLife, WaitsUntilTheConfigurationHasCome)
{
    start();
    std::future<bool> result = waitInBackground();
    EXPECT_FALSE(isReady(result, Milliseconds(300)));
    middleware.send(configuration);
    ASSERT_TRUE(isReady(result, Milliseconds(10000)));
    EXPECT_TRUE(result.get());
}

TEST_F(ManagerLife, WaitsNoMoreAfterAnEmptyConfiguration)
{
    start();
    std::future<bool> result = waitInBackground();
    middleware.send({0, 24, {}});
    ASSERT_TRUE(isReady(result, Milliseconds(10000)));
    EXPECT_TRUE(result.get());
    EXPECT_EQ("2 123 cobalt/CobaltManager", originOf("Browser config data failed"));
}

TEST_F(ManagerLife, StaysConfiguredOverAReconnect)
{
    start();
    sendAndWait(configuration);
    middleware.close();
    middleware.accept();
    ASSERT_TRUE(standin::waitForLog("Connected IPC!", 2));
    std::future<bool> result = waitInBackground();
    ASSERT_TRUE(isReady(result, Milliseconds(10000)));
    EXPECT_TRUE(result.get());
    EXPECT_EQ("de", CobaltManager::language());
}

TEST_F(ManagerLife, BeginsUnconfiguredThoughTheRecordIsKept)
{
    start();
    sendAndWait(configuration);
    manager.reset();
    EXPECT_EQ("0A:1B:2C:3D:4E:5F", CobaltManager::_config.macAddress);
    start();
    std::future<bool> result = waitInBackground();
    EXPECT_FALSE(isReady(result, Milliseconds(200)));
    middleware.send(configuration);
    ASSERT_TRUE(isReady(result, Milliseconds(10000)));
    EXPECT_TRUE(result.get());
}

TEST_F(ManagerLife, EndsAWaitByItsDestruction)
{
    start();
    std::future<bool> result = waitInBackground();
    expectTimely([this] { manager.reset(); });
    ASSERT_TRUE(isReady(result, Milliseconds(0))) << "the destructor did not wait for the hold";
    EXPECT_FALSE(result.get());
}

TEST_F(ManagerLife, EndsOnlyWhenNobodyHoldsIt)
{
    start();
    std::atomic<int> waits{0};
    interpose::Takeover waiting(interpose::usleep, [&](useconds_t microseconds) {
        ++waits;
        return interpose::usleep.real(microseconds);
    });
    auto hold = std::make_unique<CobaltManager::Hold>(*manager);
    std::thread end([this] { manager.reset(); });
    EXPECT_TRUE(eventually([&] { return waits >= 3; }));
    EXPECT_THAT(standin::logLines("Closing connection"), IsEmpty());
    hold.reset();
    end.join();
}

TEST_F(ManagerLife, EndsInTimeWithoutAMiddleware)
{
    standin::setVirtualTime(1000000);
    interpose::Takeover refusing(interpose::connect, [](int, sockaddr const*, socklen_t) { return -1; });
    manager.emplace(callbacks::all());
    ASSERT_TRUE(standin::waitForLog("ipc_connection - failed"));
    standin::clearLog();
    expectTimely([this] { manager.reset(); });
    EXPECT_THAT(logged(), IsEmpty());
    EXPECT_THAT(callbacks::calls(), IsEmpty());
}

TEST_F(ManagerLife, EndsWithOneLine)
{
    start();
    standin::clearLog();
    expectTimely([this] { manager.reset(); });
    EXPECT_THAT(logged(), ElementsAre(line::closing));
    EXPECT_TRUE(middleware.waitForClose());
}

TEST_F(ManagerLife, TakesTheLanguageOfTheEnvironmentUntilAConfigurationBringsOne)
{
    setenv("ZELO_LANG_CODE", "fr", 1);
    start();
    EXPECT_EQ("fr", CobaltManager::copyOfLanguage());
    sendAndWait({0, 24, Bytes(7, 1)});
    EXPECT_EQ("fr", CobaltManager::copyOfLanguage());
    sendAndWait(configuration);
    EXPECT_EQ("de", CobaltManager::copyOfLanguage());
}

TEST_F(ManagerLife, TakesAnEmptyLanguageOfTheEnvironment)
{
    CobaltManager::_config.language = "it";
    setenv("ZELO_LANG_CODE", "", 1);
    start();
    EXPECT_EQ("", CobaltManager::copyOfLanguage());
}

TEST_F(ManagerLife, KeepsTheLanguageWithoutOneInTheEnvironment)
{
    CobaltManager::_config.language = "it";
    unsetenv("ZELO_LANG_CODE");
    start();
    EXPECT_EQ("it", CobaltManager::copyOfLanguage());
}

TEST_F(ManagerLife, SurvivesAGreetingThatFindsNoMemory)
{
    allocations::FailingSize const failing(sizeof(IPCMessageAllowedMessageList));
    manager.emplace(callbacks::all());
    middleware.accept();
    EXPECT_TRUE(middleware.waitForClose());
    ASSERT_TRUE(standin::waitForLog("Connected IPC!", 2));
    EXPECT_EQ("1", originOf("Read error. Terminate connection").substr(0, 1));
    EXPECT_EQ(1U, standin::logLines("Disconnected IPC").size());
}

TEST_F(ManagerLife, DoesNotHearOfAConnectionThatFoundNoMemory)
{
    start();
    middleware.close();
    middleware.accept();
    for (zelobox::Frame const& frame : {allowedList, allowedList, configRequest, clientState}) {
        ASSERT_EQ(frame, middleware.receive());
    }
    {
        allocations::FailingSize const failing(sizeof(IPCMessageAllowedMessageList));
        middleware.close();
        middleware.accept();
        middleware.waitForClose();
        middleware.accept();
    }
    EXPECT_EQ(allowedList, middleware.receive());
    ASSERT_TRUE(standin::waitForLog("Connected IPC!", 3));
    EXPECT_EQ(2U, standin::logLines("Disconnected IPC").size());
    EXPECT_EQ(4U, standin::logLines("Connected to IPC server").size());
}
