#include "tests/simulation/Host.h"

#include <NSTime.h>
#include <STBFirmwareUpdater.h>
#include <STBLogger.h>
#include <STBWidevineDrm.h>
#include <stdarg.h>
#include <stdio.h>

#include <new>

#include "cobalt/ZeloCobalt.h"
#include "tests/simulation/Child.h"
#include "tests/simulation/Library.h"
#include "tests/simulation/Memory.h"
#include "tests/simulation/Trace.h"
#include "tests/simulation/World.h"

namespace simulation {
namespace host {

namespace {

/// What the host's other endings take.
int64_t const exitTime = 300000;

unsigned callbackVariety = 0;

/// A call of the library; it may lack memory.
/// @return false if it has thrown
template <typename Function> bool call(Function function)
{
    try {
        Inside const inside;
        function();
        return true;
    } catch (std::bad_alloc const&) {
        TRACE("gets std::bad_alloc");
        if (!world().faults.isPossible(Fault::Memory)) {
            fail("memory", "std::bad_alloc without a failed allocation");
        }
        return false;
    }
}

/// What a host may do in a callback.
void actInCallback()
{
    if (callbackVariety == 0) {
        return;
    }
    switch (world().decisions.choose(Kind::Content, callbackVariety)) {
    case 1:
        return pause(world().decisions.choose(Kind::Content, 30000));
    case 2:
        return requestWindow();
    case 3:
        return ask();
    case 4:
        call([] { ZeloStopApp(); });
        return;
    case 5:
        call([] { ZeloStartApp(ZeloCallbacks{}); });
        return;
    default:
        return;
    }
}

void calledBack(int set)
{
    Outside const outside;
    world().conduct.beginCallback(set);
    world().scheduler.minorStep();
    actInCallback();
    world().conduct.endCallback();
}

template <int Set> ZeloCallbacks callbacksOf()
{
    return {[](SbKey, uint8_t) { calledBack(Set); }, [] { calledBack(Set); }, [] { calledBack(Set); },
            [] { calledBack(Set); }};
}

ZeloCallbacks callbacks(int set)
{
    static ZeloCallbacks const all[callbackSets] = {callbacksOf<0>(), callbacksOf<1>(), callbacksOf<2>(),
                                                    callbacksOf<3>(), callbacksOf<4>(), callbacksOf<5>(),
                                                    callbacksOf<6>(), callbacksOf<7>()};
    return all[set];
}

} // namespace

void setCallbackVariety(unsigned variety)
{
    callbackVariety = variety;
}

void start()
{
    world().scheduler.step();
    Conduct::Call lifeCycle(world().conduct, LifeCycle::Start);
    ZeloCallbacks const given = callbacks(lifeCycle.callbackSet());
    if (!call([&] { ZeloStartApp(given); })) {
        lifeCycle.failed();
    }
}

void stop()
{
    world().scheduler.step();
    Conduct::Call const lifeCycle(world().conduct, LifeCycle::Stop);
    call([] { ZeloStopApp(); });
}

void requestWindow()
{
    world().scheduler.step();
    uint32_t const request = world().conduct.beginRequest();
    TRACE("makes request %u", request);
    int const high = static_cast<int>(request >> 16);
    int const low = static_cast<int>(request & 0xFFFF);
    int const thread = self().identity;
    call([=] { ZeloSetVideoWindow(thread, high, low, 1); });
    world().conduct.endRequest(request);
}

void requestPreviousController()
{
    world().scheduler.step();
    TRACE("asks for the previous controller");
    world().conduct.asksForController();
    call([] { ZeloRequestPreviousController(); });
}

void ask()
{
    world().scheduler.step();
    call([] {
        std::string text;
        unsigned first = 0;
        unsigned second = 0;
        bool muted = false;
        ZeloGetEnv(ZeloEnvLanguage, text);
        ZeloGetVolume(first, muted);
        ZeloGetDisplaySize(first, second);
    });
}

void unload()
{
    world().scheduler.step();
    {
        Conduct::Call const lifeCycle(world().conduct, LifeCycle::Unload);
        endLibrary();
    }
    checkNothingIsLeft();
}

void exitProcess()
{
    world().scheduler.step();
    {
        Conduct::Call const lifeCycle(world().conduct, LifeCycle::Unload);
        endLibrary();
    }
    checkNothingRuns();
    world().scheduler.touchOutside();
    world().conduct.exited();
    pause(exitTime);
    checkNothingRuns();
}

void useDrm()
{
    world().scheduler.step();
    call([] {
        int context = 0;
        ZeloCdm(&context);
        ZeloCdmIsL1();
    });
}

void closeStandardInput()
{
    world().sockets.close(0);
}

void forkChild(int64_t lifetime, bool exits)
{
    world().scheduler.step();
    if (exits) {
        runChildToItsExit();
    }
    TRACE("forks a child that lives for %lld us", static_cast<long long>(lifetime));
    auto const copies = world().sockets.forkChild();
    world().scheduler.spawn(Role::Peer, "child", [copies, lifetime] {
        world().scheduler.sleepUntil(world().scheduler.now() + lifetime);
        Sockets::endChild(copies);
    });
}

void pause(int64_t microseconds)
{
    world().scheduler.step();
    TRACE("pauses %lld us", static_cast<long long>(microseconds));
    world().scheduler.sleepUntil(world().scheduler.now() + microseconds);
}

Fiber& run(std::string const& name, std::function<void()> body)
{
    world().scheduler.minorStep();
    return world().scheduler.spawn(Role::Host, name, std::move(body));
}

bool hasEnded(Fiber const& fiber)
{
    world().scheduler.observe(fiber);
    return fiber.state == Fiber::State::Ended;
}

void join(Fiber& fiber)
{
    world().scheduler.minorStep();
    while (!hasEnded(fiber)) {
        world().scheduler.block(&fiber, never);
    }
    world().scheduler.observe(fiber);
    world().scheduler.acquire(fiber.clock);
}

} // namespace host
} // namespace simulation

using namespace simulation;

int STBLogger_log(STBLogContext const*, char const*, int level, int line, char const* file, char const* format, ...)
{
    Outside const outside;
    world().scheduler.minorStep();
    char text[300];
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    world().conduct.logged({level, line, file, format, text});
    return 0;
}

NSTime::NSTime() : microseconds(0) {}

NSTime::NSTime(long long count) : microseconds(count) {}

NSTime NSTime::nowRelative()
{
    world().scheduler.observe(static_cast<uint64_t>(world().scheduler.now()));
    return NSTime(world().scheduler.now());
}

NSTime NSTime::operator-(NSTime const& other) const
{
    return NSTime(microseconds - other.microseconds);
}

bool NSTime::operator>=(NSTime const& other) const
{
    return microseconds >= other.microseconds;
}

std::string STBFirmwareUpdater::getCurrentDeviceId()
{
    return "simulated";
}
