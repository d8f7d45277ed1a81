#include "tests/simulation/Scenes.h"

#include <string.h>

#include "tests/simulation/Host.h"
#include "tests/simulation/Library.h"
#include "tests/simulation/Middleware.h"
#include "tests/simulation/Promises.h"
#include "tests/simulation/World.h"

namespace simulation {

namespace {

uint32_t choose(uint32_t options)
{
    return world().decisions.choose(Kind::Content, options);
}

/// Half of the runs have no faults; the others one kind, or several.
void chooseFaults()
{
    Faults& faults = world().faults;
    uint32_t const means[faultKinds] = {200, 300, 10, 30, 10, 40, 300};
    uint32_t const extent = choose(4);
    if (extent == 2) {
        uint32_t const kind = choose(faultKinds);
        faults.set(static_cast<Fault>(kind), means[kind]);
    } else if (extent == 3) {
        for (size_t kind = 0; kind < faultKinds; ++kind) {
            faults.set(static_cast<Fault>(kind), choose(2) == 1 ? means[kind] : 0);
        }
    }
}

void chooseEnvironment()
{
    if (choose(4) == 1) {
        world().environment["ZELO_LANG_CODE"] = "a code that is longer than a short text";
    }
    host::setCallbackVariety(choose(3) == 1 ? 6 : 0);
}

int64_t chooseDuration()
{
    switch (choose(16)) {
    case 0:
    case 1:
        return 0;
    case 2:
        return choose(60000) * 10;
    case 3:
        return choose(60000) * 100;
    default:
        return choose(choose(2) == 0 ? 100 : 2000);
    }
}

/// What one host thread does; @p mayStart is true for one of them, because starts come one at a time;
/// @p endsByExit that the process may end meanwhile.
void live(unsigned length, bool mayStart, bool endsByExit)
{
    for (unsigned i = 0; i < length; ++i) {
        switch (choose(10)) {
        case 0:
            break;
        case 1:
            if (mayStart && (promises::startDuringExit || !world().conduct.isEnding())) {
                host::start();
            }
            break;
        case 2:
            if (choose(3) == 0) {
                host::stop();
            }
            break;
        case 3:
        case 4:
        case 5:
            host::requestWindow();
            break;
        case 6:
            host::requestPreviousController();
            break;
        case 7:
            if (!endsByExit || promises::gettersDuringExit) {
                host::ask();
            }
            break;
        case 8:
            host::pause(chooseDuration());
            break;
        default:
            if (choose(8) == 1) {
                host::forkChild(choose(60000) * 10, choose(8) == 1);
            }
        }
    }
}

/// Stops until nobody is left who might have started again.
void stopAll(std::vector<Fiber*> const& threads)
{
    host::stop();
    for (Fiber* const thread : threads) {
        while (!host::hasEnded(*thread)) {
            host::pause(10000);
            host::stop();
        }
        host::join(*thread);
    }
    host::stop();
}

void playLife()
{
    chooseFaults();
    chooseEnvironment();
    startMiddleware(chooseTemper());
    loadLibrary();
    unsigned const lives = 1 + choose(3);
    for (unsigned life = 0; life < lives; ++life) {
        std::vector<Fiber*> threads;
        unsigned const count = 1 + choose(4);
        for (unsigned i = 0; i < count; ++i) {
            unsigned const length = choose(14);
            bool const isFirst = i == 0;
            threads.push_back(&host::run("host-" + std::to_string(i + 1), [length, isFirst] {
                if (isFirst) {
                    host::start();
                }
                live(length, isFirst, false);
            }));
        }
        host::pause(chooseDuration());
        stopAll(threads);
    }
    host::unload();
}

/// Half of a life, with an end that nobody has prepared.
void playExit()
{
    chooseFaults();
    chooseEnvironment();
    startMiddleware(chooseTemper());
    loadLibrary();
    unsigned const count = 1 + choose(3);
    for (unsigned i = 0; i < count; ++i) {
        unsigned const length = choose(10);
        bool const isFirst = i == 0;
        host::run("host-" + std::to_string(i + 1), [length, isFirst] {
            if (isFirst) {
                host::start();
            }
            live(length, isFirst, true);
        });
    }
    host::pause(chooseDuration());
    host::exitProcess();
}

void playStorm()
{
    chooseFaults();
    Temper temper;
    temper.dropAfterAccept = 10 + choose(60);
    temper.firstListens = choose(2) == 0 ? 0 : choose(60000);
    startMiddleware(temper);
    loadLibrary();
    Fiber& starter = host::run("host-1", [] { host::start(); });
    host::pause(int64_t{1} + choose(60000) * 1000);
    host::requestWindow();
    stopAll({&starter});
    host::unload();
}

/// From the time at which every run begins.
int64_t const untilEndOf32Bits = (int64_t{0x7FFFFFFF} - 1700000000 - 1800) * 1000000;

/// No middleware for days: the back-off, under a wall clock that steps.
void playAbsence()
{
    world().faults.set(Fault::WallClock, 100);
    world().faults.set(Fault::Signal, choose(2) == 0 ? 0 : 50);
    if (choose(2) == 1) {
        world().scheduler.stepWallClock(untilEndOf32Bits); // seconds do not fit into 32 bits soon, or any more
    }
    Temper temper;
    temper.firstListens = int64_t{1} + choose(60000) * int64_t{1000000};
    startMiddleware(temper);
    loadLibrary();
    Fiber& starter = host::run("host-1", [] { host::start(); });
    host::pause(choose(60000) * int64_t{choose(8) == 1 ? 200000 : 10000});
    stopAll({&starter});
    host::unload();
}

/// A peer that does not read any more, and a host that does not mind.
void playFullQueue()
{
    world().faults.set(Fault::Stall, choose(2) == 0 ? 0 : 100000);
    world().faults.set(Fault::Partial, choose(2) == 0 ? 0 : 30);
    Temper temper;
    temper.deafConnections = 1 + choose(2);
    temper.capacity = choose(2) == 0 ? 212992 : 4096;
    startMiddleware(temper);
    loadLibrary();
    host::start();
    unsigned const count = 1 + choose(3);
    std::vector<Fiber*> threads;
    for (unsigned i = 0; i < count; ++i) {
        threads.push_back(&host::run("host-" + std::to_string(i + 2), [count] {
            for (unsigned request = 0; request < 68000 / count; ++request) {
                host::requestWindow();
                if (request % 50 == 49) {
                    host::pause(1);
                }
            }
        }));
    }
    for (Fiber* const thread : threads) {
        host::join(*thread);
    }
    host::pause(1500000);
    host::requestWindow();
    host::stop();
    host::unload();
}

/// Children that exit, in every state of the library.
void playFork()
{
    chooseEnvironment();
    if (choose(4) == 1) {
        host::closeStandardInput();
    }
    startMiddleware(chooseTemper());
    loadLibrary();
    if (choose(2) == 1) {
        host::useDrm();
    }
    host::run("host-2", [] { live(choose(8), true, false); });
    host::pause(chooseDuration());
    host::forkChild(0, true);
    host::pause(chooseDuration());
    host::exitProcess();
}

// The small scenes

void playStartStop()
{
    startMiddleware(Temper());
    loadLibrary();
    host::start();
    host::stop();
    host::unload();
}

void playPushStop()
{
    startMiddleware(Temper());
    loadLibrary();
    host::start();
    Fiber& pusher = host::run("host-2", [] { host::requestWindow(); });
    host::stop();
    host::join(pusher);
    host::unload();
}

void playRequestThenStop()
{
    startMiddleware(Temper());
    loadLibrary();
    host::start();
    host::pause(100000);
    host::requestWindow();
    host::stop();
    host::unload();
}

void playDropPush()
{
    Temper temper;
    temper.dropAfter = 60000;
    startMiddleware(temper);
    loadLibrary();
    host::start();
    Fiber& pusher = host::run("host-2", [] {
        host::pause(9000);
        host::requestWindow();
    });
    host::pause(15000);
    host::stop();
    host::join(pusher);
    host::unload();
}

void playReplace()
{
    startMiddleware(Temper());
    loadLibrary();
    host::start();
    host::start();
    host::stop();
    host::unload();
}

void playStopInStart()
{
    Temper temper;
    temper.answers = false;
    startMiddleware(temper);
    loadLibrary();
    Fiber& starter = host::run("host-2", [] { host::start(); });
    host::pause(30);
    host::stop();
    stopAll({&starter});
    host::unload();
}

void playExitInStart()
{
    Temper temper;
    temper.answers = false;
    startMiddleware(temper);
    loadLibrary();
    host::run("host-2", [] { host::start(); });
    host::pause(30);
    host::exitProcess();
}

void playUnload()
{
    startMiddleware(Temper());
    loadLibrary();
    host::start();
    host::unload();
}

} // namespace

std::vector<Scene> const& allScenes()
{
    static std::vector<Scene> const scenes = {
        {"life", "one to four threads that do what the header allows, and any middleware", false, 2400, playLife},
        {"exit", "the process ends in the midst of such a life", false, 640, playExit},
        {"storm", "a middleware that accepts and drops", false, 160, playStorm},
        {"absence", "no middleware for hours, and a wall clock that steps", false, 40, playAbsence},
        {"full-queue", "a host that asks more than a middleware reads", false, 1, playFullQueue},
        {"fork", "children that exit", false, 40, playFork},
        {"start-stop", "a start and a stop", true, 80, playStartStop},
        {"push-stop", "a request beside a stop", true, 120, playPushStop},
        {"request-then-stop", "a request, then a stop", true, 120, playRequestThenStop},
        {"drop-push", "a request beside a drop", true, 80, playDropPush},
        {"replace", "a start without a stop before it", true, 80, playReplace},
        {"stop-in-start", "a stop while a start waits", true, 80, playStopInStart},
        {"exit-in-start", "an exit while a start waits", true, 80, playExitInStart},
        {"unload", "an unload without a stop", true, 80, playUnload},
    };
    return scenes;
}

Scene const* findScene(std::string const& name)
{
    for (Scene const& scene : allScenes()) {
        if (name == scene.name) {
            return &scene;
        }
    }
    return nullptr;
}

Scene const& sceneOf(uint64_t seed)
{
    unsigned total = 0;
    for (Scene const& scene : allScenes()) {
        total += scene.weight;
    }
    uint32_t place = Random(seed ^ 0x5CE4E).below(total);
    for (Scene const& scene : allScenes()) {
        if (place < scene.weight) {
            return scene;
        }
        place -= scene.weight;
    }
    return allScenes().front();
}

} // namespace simulation
