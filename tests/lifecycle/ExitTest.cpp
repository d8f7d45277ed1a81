// Processes that end while the library is in use. Each runs in a child, from the first line of the function on.
#include <gtest/gtest.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include <string>
#include <thread>

#include "testkit/Callbacks.h"
#include "testkit/DeathTests.h"
#include "testkit/HostStandIn.h"
#include "testkit/LoadedLibrary.h"
#include "testkit/Middleware.h"
#include "testkit/Process.h"
#include "testkit/SystemStandIn.h"
#include "testkit/Timely.h"

namespace {

using timely::eventually;

int const keptStatus = 7;

/// Registered before the load, so that it runs after the library's own end.
void reportRest()
{
    for (std::string const& call : standin::drmCalls()) {
        fprintf(stderr, "DRM %s\n", call.c_str());
    }
    fprintf(stderr, libraryThreadsEnd() ? "no thread left\n" : "threads left\n");
}

/// Where threads must be left: an exit from one of them.
void reportNothing() {}

void printLog(standin::LogLine const& line)
{
    fprintf(stderr, "%s\n", line.message.c_str());
}

/// A host that never unloads. Nothing of it is destroyed by exit(), and it can be reached by its threads to the end.
class Host {
public:
    explicit Host(char const* path, void (*atTheEnd)() = &reportRest)
    {
        alarm(60);
        standin::onLog(&printLog);
        atexit(atTheEnd);
        library.load(path);
    }

    void start()
    {
        middleware.serveStart([this] { library.start(callbacks::all()); });
    }

    Middleware middleware;
    LoadedLibrary library;
};

[[noreturn]] void exitWithARunningManager(char const* path)
{
    static Host& host = *new Host(path);
    host.start();
    exit(keptStatus);
}

[[noreturn]] void exitWhileAStartWaits(char const* path)
{
    static Host& host = *new Host(path);
    std::thread([&] { host.library.start({}); }).detach();
    host.middleware.acceptClient();
    exit(keptStatus);
}

[[noreturn]] void exitInsideAStart(char const* path)
{
    static Host& host = *new Host(path);
    libc::onSleep([](unsigned microseconds) {
        if (microseconds == 50000) {
            exit(keptStatus); // what a signal handler does to a start that waits
        }
    });
    host.library.start({});
    abort();
}

[[noreturn]] void exitInsideAStop(char const* path)
{
    static Host& host = *new Host(path);
    host.start();
    standin::onLog([](standin::LogLine const& line) {
        if (line.message == "Closing connection") {
            exit(keptStatus);
        }
    });
    host.library.stop();
    abort();
}

[[noreturn]] void exitInsideACallback(char const* path)
{
    static Host& host = *new Host(path, &reportNothing);
    host.start();
    callbacks::setBody([] { exit(keptStatus); });
    host.middleware.sendKey(2);
    for (;;) {
        pause();
    }
}

[[noreturn]] void exitInsideACallbackWhileAStopWaitsForIt(char const* path)
{
    static Host& host = *new Host(path, &reportNothing);
    host.start();
    static BlockingCall& stop = *new BlockingCall;
    static std::atomic<bool>& entered = *new std::atomic<bool>(false);
    callbacks::setBody([&] {
        entered = true;
        exit(stop.waitUntilBlocked() ? keptStatus : 1);
    });
    host.middleware.sendKey(2);
    eventually([&] { return entered.load(); });
    stop.run([&] { host.library.stop(); });
    for (;;) {
        pause();
    }
}

[[noreturn]] void exitInsideACallbackOfAReplacedManager(char const* path)
{
    static Host& host = *new Host(path, &reportNothing);
    host.start();
    static zelobox::Connection& first = *new zelobox::Connection(std::move(host.middleware.link()));
    static BlockingCall& start = *new BlockingCall;
    static std::atomic<bool>& entered = *new std::atomic<bool>(false);
    callbacks::setBody([&] {
        entered = true;
        exit(start.waitUntilBlocked() ? keptStatus : 1);
    });
    first.send(zelobox::frameOf(IPCMessageUnsignedInt(IPC_VOLUME, 1)));
    eventually([&] { return entered.load(); });
    start.run([&] { host.library.start({}); });
    for (;;) {
        pause();
    }
}

[[noreturn]] void exitWithADrmObject(char const* path)
{
    static Host& host = *new Host(path);
    host.library.cdm(1);
    exit(keptStatus);
}

bool (*queryAtTheEnd)(ZeloEnv, std::string&) = nullptr;

void reportLanguage()
{
    std::string language = "none";
    queryAtTheEnd(ZeloEnvLanguage, language);
    fprintf(stderr, "language at the end '%s'\n", language.c_str());
}

[[noreturn]] void exitAndAskForTheLanguage(char const* path)
{
    static Host& host = *new Host(path, &reportLanguage);
    queryAtTheEnd = host.library.getEnv();
    host.middleware.serveStart([&] { host.library.start(callbacks::all()); });
    reportLanguage();
    exit(keptStatus);
}

/// For both link orders of the library.
class Exit : public testing::TestWithParam<char const*> {
protected:
    Exit() { standin::setDeathTestStyle(); }
};

INSTANTIATE_TEST_SUITE_P(Linked, Exit, testing::Values(ZELO_LIBRARY, ZELO_LIBRARY_REVERSED),
                         [](testing::TestParamInfo<char const*> const& instance) {
                             return instance.index == 0 ? "InOrder" : "InReverse";
                         });

} // namespace

TEST_P(Exit, StopsARunningManager)
{
    EXPECT_EXIT(exitWithARunningManager(GetParam()), testing::ExitedWithCode(keptStatus),
                "Closing connection\nno thread left");
}

TEST_P(Exit, EndsAStartThatWaits)
{
    EXPECT_EXIT(exitWhileAStartWaits(GetParam()), testing::ExitedWithCode(keptStatus),
                "Configuration failed\n(.*\n)*no thread left");
}

TEST_P(Exit, InsideAStartDoesNotWaitForThatStart)
{
    EXPECT_EXIT(exitInsideAStart(GetParam()), testing::ExitedWithCode(keptStatus), "no thread left");
}

TEST_P(Exit, InsideAStopDoesNotWaitForThatStop)
{
    EXPECT_EXIT(exitInsideAStop(GetParam()), testing::ExitedWithCode(keptStatus), "Started");
}

TEST_P(Exit, InsideACallbackEndsTheProcess)
{
    EXPECT_EXIT(exitInsideACallback(GetParam()), testing::ExitedWithCode(keptStatus), "");
}

TEST_P(Exit, InsideACallbackThatAStopWaitsForEndsTheProcess)
{
    EXPECT_EXIT(exitInsideACallbackWhileAStopWaitsForIt(GetParam()), testing::ExitedWithCode(keptStatus), "");
}

TEST_P(Exit, InsideACallbackOfAReplacedManagerEndsTheProcess)
{
    EXPECT_EXIT(exitInsideACallbackOfAReplacedManager(GetParam()), testing::ExitedWithCode(keptStatus), "");
}

TEST_P(Exit, DestroysTheDrmObject)
{
    EXPECT_EXIT(exitWithADrmObject(GetParam()), testing::ExitedWithCode(keptStatus), "DRM cdm\nDRM destroy\n");
}

TEST_P(Exit, LeavesNoTextForAGetterThatComesLater)
{
    EXPECT_EXIT(exitAndAskForTheLanguage(GetParam()), testing::ExitedWithCode(keptStatus),
                "language at the end '" + std::string(middlewareLanguage) + "'\n(.*\n)*language at the end ''");
}
