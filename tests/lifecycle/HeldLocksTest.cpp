// What is done under which lock, and in which order things go.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <string.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <fstream>
#include <mutex>

#include "cobalt/CobaltManager.h"
#include "cobalt/ZeloCobalt.h"
#include "testkit/Allocations.h"
#include "testkit/HeldLocks.h"
#include "testkit/HostStandIn.h"
#include "testkit/LinkSupport.h"
#include "testkit/ThreadProbe.h"

using namespace testlink;
using heldlocks::Call;
using heldlocks::Function;
using testing::ElementsAre;
using testing::SizeIs;

namespace {

/// @return the name of a thread of this process; empty once it has ended
std::string nameOf(pid_t thread)
{
    std::ifstream file("/proc/self/task/" + std::to_string(thread) + "/comm");
    std::string name;
    std::getline(file, name);
    return name;
}

/// Every call while it lives, with its thread: a thread gets its name only after it has begun. Outlives every thread
/// that it sees.
class Trace {
public:
    struct Entry {
        Call call;
        pid_t thread;
    };

    Trace()
    {
        heldlocks::observe([this](Call const& call) {
            if (call.object == mutex.native_handle()) {
                return;
            }
            std::lock_guard<std::mutex> const lock(mutex);
            entries.push_back({call, static_cast<pid_t>(syscall(SYS_gettid))});
        });
    }
    ~Trace() { heldlocks::observe({}); }

    std::vector<Entry> of(Function function)
    {
        std::lock_guard<std::mutex> const lock(mutex);
        std::vector<Entry> found;
        for (Entry const& entry : entries) {
            if (entry.call.function == function) {
                found.push_back(entry);
            }
        }
        return found;
    }
    std::vector<Entry> all()
    {
        std::lock_guard<std::mutex> const lock(mutex);
        return entries;
    }

private:
    std::mutex mutex;
    std::vector<Entry> entries;
};

struct Idle : STBThread {
    void run() override {}
};

/// Remembers when it is destroyed, and under which locks.
class Witness final : public IPCMessage {
public:
    Witness(int which, std::vector<int>& numbers, std::vector<size_t>& locksHeld)
        : IPCMessage(IPC_PAYLOAD_RAW, IPC_UNHANDLED_8), number(which), order(numbers), locks(locksHeld)
    {
    }
    ~Witness() override
    {
        order.push_back(number);
        locks.push_back(heldlocks::held().size());
    }

private:
    int const number;
    std::vector<int>& order;
    std::vector<size_t>& locks;
};

} // namespace

TEST(HeldLocks, AThreadIsStartedWithoutAttributes)
{
    Trace trace;
    Idle idle;
    idle.start(nullptr);
    idle.stop();
    ASSERT_THAT(trace.of(Function::ThreadCreate), SizeIs(1));
    EXPECT_EQ(nullptr, trace.of(Function::ThreadCreate)[0].call.object);
}

TEST(HeldLocks, AStopKeepsItsFirstLockAndReleasesItsSecondForTheJoin)
{
    Trace trace;
    Idle idle;
    idle.start(nullptr);
    std::vector<void const*> const ofTheStart = trace.of(Function::ThreadCreate).at(0).call.held;
    idle.stop();
    ASSERT_THAT(ofTheStart, SizeIs(2));
    EXPECT_THAT(trace.of(Function::ThreadJoin).at(0).call.held, ElementsAre(ofTheStart[0]));
}

TEST(HeldLocks, ANotificationTakesNone)
{
    Trace trace;
    Idle idle;
    idle.notify();
    ASSERT_THAT(trace.of(Function::CondBroadcast), SizeIs(1));
    EXPECT_THAT(trace.of(Function::CondBroadcast)[0].call.held, SizeIs(0));
    EXPECT_THAT(trace.of(Function::MutexLock), SizeIs(0));
}

TEST(HeldLocks, ASenderIsStartedUnderTheSendersLock)
{
    Trace trace;
    zelobox::Listener listener;
    Link link;
    zelobox::Connection const middleware = link.startAndAccept(listener);
    std::vector<Trace::Entry> const started = trace.of(Function::ThreadCreate);
    ASSERT_THAT(started, SizeIs(2));
    EXPECT_EQ("ipc_cln", nameOf(started[1].thread));
    EXPECT_THAT(started[1].call.held, SizeIs(3)) << "the sender's lock and the two of a start";
    link.push(new IPCMessage(IPC_PAYLOAD_RAW, IPC_CONFIG_REQUEST));
    std::vector<Trace::Entry> const locked = trace.of(Function::MutexLock);
    void const* const ofThePush = [&] {
        std::vector<void const*> queueLock;
        for (Trace::Entry const& entry : locked) {
            if (entry.thread == getpid() && entry.call.held.size() == 1) {
                queueLock = entry.call.held; // the queue's lock is taken under the sender's
            }
        }
        return queueLock.empty() ? nullptr : queueLock[0];
    }();
    EXPECT_EQ(ofThePush, started[1].call.held[0]);
}

TEST(HeldLocks, AQueueIsDestroyedFrontToBackUnderItsLock)
{
    std::vector<int> order;
    std::vector<size_t> locks;
    zelobox::Listener listener;
    Link link;
    zelobox::Connection middleware = link.startAndAccept(listener);
    probe::Signal writing;
    probe::Signal mayEnd;
    link.push(new ActingMessage([&] {
        writing.give();
        mayEnd.wait();
        throw std::bad_alloc();
    }));
    writing.wait();
    for (int i = 1; i <= 3; ++i) {
        link.push(new Witness(i, order, locks));
    }
    mayEnd.give();
    ASSERT_TRUE(link.handler.waitFor("connected", 2));
    EXPECT_THAT(order, ElementsAre(1, 2, 3));
    EXPECT_THAT(locks, ElementsAre(1, 1, 1));
}

TEST(HeldLocks, AConditionGoesBeforeTheLockOfItsQueueAndBothBeforeTheThread)
{
    Trace trace;
    zelobox::Listener listener;
    Link link;
    link.startAndAccept(listener).close();
    ASSERT_TRUE(link.handler.waitFor("connected", 2));
    std::vector<Function> gone;
    for (Trace::Entry const& entry : trace.all()) {
        bool const isEnd =
            entry.call.function == Function::CondDestroy || entry.call.function == Function::MutexDestroy;
        if (isEnd && nameOf(entry.thread) == "ipc_cln") {
            gone.push_back(entry.call.function);
        }
    }
    EXPECT_THAT(gone, ElementsAre(Function::CondDestroy, Function::MutexDestroy, Function::CondDestroy,
                                  Function::MutexDestroy, Function::MutexDestroy));
}

TEST(HeldLocks, AManagerRegistersBeforeItsThreadIsStartedAndUnregistersAfterItHasEnded)
{
    Trace trace;
    zelobox::Listener listener;
    std::atomic<void const*> handlersLock{nullptr};
    standin::onLog([&](standin::LogLine const& line) {
        if (line.message == "Connected IPC!") {
            handlersLock = heldlocks::held().at(0);
        }
    });
    std::optional<CobaltManager> manager(std::in_place, ZeloCallbacks{});
    zelobox::Connection const middleware = listener.accept();
    ASSERT_TRUE(eventually([&] { return handlersLock != nullptr; }));
    standin::onLog({});
    bool registered = false;
    bool registeredAtTheStart = false;
    for (Trace::Entry const& entry : trace.all()) {
        registered = registered || (entry.call.function == Function::MutexLock && entry.call.object == handlersLock);
        if (entry.call.function == Function::ThreadCreate) {
            registeredAtTheStart = registered;
            break;
        }
    }
    EXPECT_TRUE(registeredAtTheStart);
    size_t const before = trace.all().size();
    manager.reset();
    bool joined = false;
    int unregistrations = 0;
    std::vector<Trace::Entry> const all = trace.all();
    for (size_t i = before; i < all.size(); ++i) {
        Trace::Entry const& entry = all[i];
        joined = joined || entry.call.function == Function::ThreadJoin;
        bool const isOurs = entry.call.function == Function::MutexLock && entry.call.object == handlersLock;
        unregistrations += isOurs && joined ? 1 : 0;
    }
    EXPECT_EQ(1, unregistrations);
}

TEST(HeldLocks, ARequestIsBuiltUnderNone)
{
    static std::atomic<int> built{0};
    static std::atomic<int> underALock{0};
    allocations::Observer const observer = {[](size_t size) {
                                                if (size == sizeof(IPCMessage) ||
                                                    size == sizeof(IPCMessageUnsignedInt) ||
                                                    size == sizeof(IPCMessageSimpleString)) {
                                                    ++built;
                                                    underALock += heldlocks::held().empty() ? 0 : 1;
                                                }
                                                return false;
                                            },
                                            nullptr, nullptr};
    allocations::observe(&observer);
    ZeloSetVideoWindow(1, 2, 3, 4);
    ZeloRequestPreviousController();
    allocations::observe(nullptr);
    EXPECT_EQ(3, built) << "a raw message, a text and a number";
    EXPECT_EQ(0, underALock);
}
