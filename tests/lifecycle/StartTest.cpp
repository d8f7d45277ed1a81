#include <gtest/gtest.h>
#include <poll.h>
#include <stdlib.h>

#include <atomic>
#include <string>
#include <thread>

#include "cobalt/ZeloCobalt.h"
#include "testkit/Callbacks.h"
#include "testkit/HostStandIn.h"
#include "testkit/Middleware.h"
#include "testkit/Process.h"
#include "testkit/Signal.h"
#include "testkit/SystemStandIn.h"

namespace {

unsigned const pollUs = 50000;

std::string variable(char const* name)
{
    char const* const value = getenv(name);
    return value != nullptr ? value : "(not set)";
}

void startWith(Middleware& middleware)
{
    middleware.serveStart([] { ZeloStartApp(callbacks::all()); });
}

bool isAnybodyAt(zelobox::Listener const& door)
{
    pollfd knock = {door.descriptor(), POLLIN, 0};
    return poll(&knock, 1, 300) > 0;
}

void expectLine(char const* text, int level, int line)
{
    std::vector<standin::LogLine> const lines = standin::logLines(text);
    ASSERT_EQ(1U, lines.size()) << text;
    EXPECT_EQ(level, lines[0].level);
    EXPECT_EQ(line, lines[0].line);
    EXPECT_EQ("cobalt/ZeloCobalt", lines[0].file);
    EXPECT_EQ(text, lines[0].format);
}

} // namespace

TEST(Start, LooksEvery50MillisecondsUntilTheConfigurationIsThere)
{
    Middleware middleware;
    std::atomic<bool> returned{false};
    std::thread start([&] {
        ZeloStartApp({});
        returned = true;
    });
    middleware.acceptClient();
    EXPECT_TRUE(libc::waitForSleepsOf(pollUs, 4));
    EXPECT_FALSE(returned);
    EXPECT_TRUE(standin::logLines("Started.....").empty());
    middleware.configure();
    start.join();
    ZeloStopApp();
}

TEST(Start, IsNotEndedByOtherMessages)
{
    Middleware middleware;
    std::atomic<bool> returned{false};
    std::thread start([&] {
        ZeloStartApp(callbacks::all());
        returned = true;
    });
    middleware.acceptClient();
    middleware.sendVolume(3);
    ASSERT_TRUE(callbacks::waitForCalls(1));
    EXPECT_TRUE(libc::waitForSleepsOf(pollUs, libc::sleepsOf(pollUs) + 2));
    EXPECT_FALSE(returned);
    middleware.configure();
    start.join();
    ZeloStopApp();
}

TEST(Start, SaysSoWhenItIsDone)
{
    Middleware middleware;
    startWith(middleware);
    expectLine("Started.....", 3, 32);
    EXPECT_TRUE(standin::logLines("Configuration failed").empty());
    ZeloStopApp();
}

TEST(Start, SetsTheAudioDecoders)
{
    unsetenv("media_arm_audio_decoder");
    unsetenv("media.ffmpeg.audio.decoder");
    Middleware middleware;
    startWith(middleware);
    EXPECT_EQ("ape,flac,wma,wmapro,aac,vorbis,raac,cook,amr,pcm,adpcm,aac_latm,rm",
              variable("media_arm_audio_decoder"));
    EXPECT_EQ("mp3,ac3,eac3,dts", variable("media.ffmpeg.audio.decoder"));
    ZeloStopApp();
}

TEST(Start, SetsTheAudioDecodersBeforeTheManagerIsMade)
{
    Middleware middleware;
    startWith(middleware);
    callbacks::Latch inCallback; // keeps the stop from ending, and the manager of the next start from being made
    middleware.sendKey(2);
    ASSERT_TRUE(inCallback.waitUntilEntered());
    BlockingCall stop;
    stop.run(&ZeloStopApp);
    ASSERT_TRUE(stop.waitUntilBlocked());
    unsetenv("media_arm_audio_decoder");
    unsetenv("media.ffmpeg.audio.decoder");
    BlockingCall start;
    start.run([] { ZeloStartApp({}); });
    ASSERT_TRUE(start.waitUntilBlocked());
    EXPECT_NE("(not set)", variable("media_arm_audio_decoder"));
    EXPECT_NE("(not set)", variable("media.ffmpeg.audio.decoder"));
    EXPECT_FALSE(isAnybodyAt(middleware.door()));
    inCallback.release();
    stop.join();
    middleware.acceptClient();
    middleware.configure();
    start.join();
    ZeloStopApp();
}

TEST(Start, KeepsAudioDecodersThatTheProcessHas)
{
    setenv("media_arm_audio_decoder", "mine", 1);
    setenv("media.ffmpeg.audio.decoder", "", 1);
    Middleware middleware;
    startWith(middleware);
    EXPECT_EQ("mine", variable("media_arm_audio_decoder"));
    EXPECT_EQ("", variable("media.ffmpeg.audio.decoder"));
    ZeloStopApp();
}

TEST(Start, NamesItsThreads)
{
    Middleware middleware;
    startWith(middleware);
    EXPECT_EQ(1U, threadNames().count("ipc_cln"));
    EXPECT_EQ(1U, threadNames().count("ipc_snd"));
    ZeloStopApp();
    EXPECT_TRUE(libraryThreadsEnd());
}

TEST(Start, ASecondOneHasItsManagerUpBeforeTheFirstManagerGoes)
{
    Middleware middleware;
    startWith(middleware);
    zelobox::Connection first = std::move(middleware.link());
    callbacks::Latch inCallback; // keeps the first manager from being destroyed
    first.send(zelobox::frameOf(IPCMessageUnsignedInt(IPC_VOLUME, 1)));
    ASSERT_TRUE(inCallback.waitUntilEntered());
    std::thread second([] { ZeloStartApp({}); });
    middleware.acceptClient();
    EXPECT_TRUE(standin::logLines("Closing connection").empty());
    inCallback.release();
    EXPECT_TRUE(first.waitForClose());
    EXPECT_TRUE(standin::waitForLog("Closing connection"));
    middleware.configure();
    second.join();
    EXPECT_EQ(1U, threadNames().count("ipc_cln"));
    ZeloStopApp();
}

TEST(Start, ASecondOneWaitsForAConfigurationOfItsOwn)
{
    Middleware middleware;
    startWith(middleware);
    std::atomic<bool> returned{false};
    std::thread second([&] {
        ZeloStartApp({});
        returned = true;
    });
    middleware.acceptClient();
    EXPECT_TRUE(libc::waitForSleepsOf(pollUs, libc::sleepsOf(pollUs) + 2));
    EXPECT_FALSE(returned);
    middleware.configure();
    second.join();
    EXPECT_EQ(2U, standin::logLines("Started.....").size());
    ZeloStopApp();
}
