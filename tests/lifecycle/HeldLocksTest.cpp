// What is done under which lock, and in which order things go.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <string.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <mutex>

#include "cobalt/CobaltManager.h"
#include "cobalt/ZeloCobalt.h"
#include "testkit/Allocations.h"
#include "testkit/HostStandIn.h"
#include "testkit/Interpose.h"
#include "testkit/LinkSupport.h"
#include "testkit/ThreadProbe.h"

using namespace testlink;
using interpose::Takeover;
using interpose::Threads;
using testing::ElementsAre;
using testing::SizeIs;

namespace {

enum class Function { MutexLock, MutexDestroy, CondBroadcast, CondDestroy, ThreadCreate, ThreadJoin };

/// One call, seen before it is made. A thread gets its name only after it has begun.
struct Call {
    Function function;
    void const* object;            ///< the lock or the condition; of ThreadCreate the attributes
    std::vector<void const*> held; ///< by the calling thread, in the order in which it took them
    pid_t thread;
};

/// Needs no destructor: a thread takes locks until its very end.
struct Locks {
    void const* held[64];
    size_t count;
    bool recording; ///< what that needs is nobody's news
};
thread_local Locks locks;

std::vector<void const*> held()
{
    return std::vector<void const*>(locks.held, locks.held + locks.count);
}

/// Every call of the process from its first use on.
class Record {
public:
    static Record& instance()
    {
        static Record& record = *new Record; // threads come by until the very end
        return record;
    }

    std::vector<Call> calls()
    {
        locks.recording = true;
        std::unique_lock<std::mutex> lock(mutex);
        std::vector<Call> copy = all;
        lock.unlock();
        locks.recording = false;
        return copy;
    }
    std::vector<Call> calls(Function function)
    {
        std::vector<Call> found = calls();
        found.erase(std::remove_if(found.begin(), found.end(), [=](Call const& c) { return c.function != function; }),
                    found.end());
        return found;
    }

private:
    void see(Function function, void const* object)
    {
        if (!locks.recording) {
            locks.recording = true;
            std::unique_lock<std::mutex> lock(mutex);
            all.push_back({function, object, held(), static_cast<pid_t>(syscall(SYS_gettid))});
            lock.unlock();
            locks.recording = false;
        }
    }
    template <typename Object> Takeover<int(Object*)> seen(interpose::Call<int(Object*)>& call, Function function)
    {
        return {call, [this, &call, function](Object* object) { return see(function, object), call.real(object); },
                Threads::All};
    }
    int lock(pthread_mutex_t* object)
    {
        see(Function::MutexLock, object);
        int const result = interpose::pthread_mutex_lock.real(object);
        if (result == 0 && !locks.recording && locks.count < std::size(locks.held)) {
            locks.held[locks.count++] = object;
        }
        return result;
    }
    int unlock(pthread_mutex_t* object)
    {
        void const** const end = locks.held + locks.count;
        locks.count -= std::remove(locks.held, end, object) != end ? 1 : 0;
        return interpose::pthread_mutex_unlock.real(object);
    }

    std::mutex mutex;
    std::vector<Call> all;
    Takeover<int(pthread_mutex_t*)> locking{interpose::pthread_mutex_lock, [this](auto* m) { return lock(m); },
                                            Threads::All};
    Takeover<int(pthread_mutex_t*)> unlocking{interpose::pthread_mutex_unlock, [this](auto* m) { return unlock(m); },
                                              Threads::All};
    Takeover<int(pthread_mutex_t*)> lockEnd = seen(interpose::pthread_mutex_destroy, Function::MutexDestroy);
    Takeover<int(pthread_cond_t*)> broadcast = seen(interpose::pthread_cond_broadcast, Function::CondBroadcast);
    Takeover<int(pthread_cond_t*)> conditionEnd = seen(interpose::pthread_cond_destroy, Function::CondDestroy);
    Takeover<int(pthread_t*, pthread_attr_t const*, void* (*)(void*), void*)> beginning{
        interpose::pthread_create,
        [this](pthread_t* thread, pthread_attr_t const* attributes, void* (*body)(void*), void* argument) {
            see(Function::ThreadCreate, attributes);
            return interpose::pthread_create.real(thread, attributes, body, argument);
        },
        Threads::All};
    Takeover<int(pthread_t, void**)> joining{interpose::pthread_join,
                                             [this](pthread_t thread, void** result) {
                                                 see(Function::ThreadJoin, nullptr);
                                                 return interpose::pthread_join.real(thread, result);
                                             },
                                             Threads::All};
};

/// @return the name of a thread of this process; empty once it has ended
std::string nameOf(pid_t thread)
{
    std::ifstream file("/proc/self/task/" + std::to_string(thread) + "/comm");
    std::string name;
    std::getline(file, name);
    return name;
}

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
        locks.push_back(held().size());
    }

private:
    int const number;
    std::vector<int>& order;
    std::vector<size_t>& locks;
};

} // namespace

TEST(HeldLocks, AThreadIsStartedWithoutAttributes)
{
    Record& record = Record::instance();
    Idle idle;
    idle.start(nullptr);
    idle.stop();
    ASSERT_THAT(record.calls(Function::ThreadCreate), SizeIs(1));
    EXPECT_EQ(nullptr, record.calls(Function::ThreadCreate)[0].object);
}

TEST(HeldLocks, AStopKeepsItsFirstLockAndReleasesItsSecondForTheJoin)
{
    Record& record = Record::instance();
    Idle idle;
    idle.start(nullptr);
    std::vector<void const*> const ofTheStart = record.calls(Function::ThreadCreate).at(0).held;
    idle.stop();
    ASSERT_THAT(ofTheStart, SizeIs(2));
    EXPECT_THAT(record.calls(Function::ThreadJoin).at(0).held, ElementsAre(ofTheStart[0]));
}

TEST(HeldLocks, ANotificationTakesNone)
{
    Record& record = Record::instance();
    Idle idle;
    idle.notify();
    ASSERT_THAT(record.calls(Function::CondBroadcast), SizeIs(1));
    EXPECT_THAT(record.calls(Function::CondBroadcast)[0].held, SizeIs(0));
    EXPECT_THAT(record.calls(Function::MutexLock), SizeIs(0));
}

TEST(HeldLocks, ASenderIsStartedUnderTheSendersLock)
{
    Record& record = Record::instance();
    zelobox::Listener listener;
    Link link;
    zelobox::Connection const middleware = link.startAndAccept(listener);
    std::vector<Call> const started = record.calls(Function::ThreadCreate);
    ASSERT_THAT(started, SizeIs(2));
    EXPECT_EQ("ipc_cln", nameOf(started[1].thread));
    EXPECT_THAT(started[1].held, SizeIs(3)) << "the sender's lock and the two of a start";
    link.push(new IPCMessage(IPC_PAYLOAD_RAW, IPC_CONFIG_REQUEST));
    std::vector<Call> const locked = record.calls(Function::MutexLock);
    void const* const ofThePush = [&] {
        std::vector<void const*> queueLock;
        for (Call const& entry : locked) {
            if (entry.thread == getpid() && entry.held.size() == 1) {
                queueLock = entry.held; // the queue's lock is taken under the sender's
            }
        }
        return queueLock.empty() ? nullptr : queueLock[0];
    }();
    EXPECT_EQ(ofThePush, started[1].held[0]);
}

TEST(HeldLocks, AQueueIsDestroyedFrontToBackUnderItsLock)
{
    Record::instance();
    std::vector<int> order;
    std::vector<size_t> locksHeld;
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
        link.push(new Witness(i, order, locksHeld));
    }
    mayEnd.give();
    ASSERT_TRUE(link.handler.waitFor("connected", 2));
    EXPECT_THAT(order, ElementsAre(1, 2, 3));
    EXPECT_THAT(locksHeld, ElementsAre(1, 1, 1));
}

TEST(HeldLocks, AConditionGoesBeforeTheLockOfItsQueueAndBothBeforeTheThread)
{
    Record& record = Record::instance();
    zelobox::Listener listener;
    Link link;
    link.startAndAccept(listener).close();
    ASSERT_TRUE(link.handler.waitFor("connected", 2));
    std::vector<Function> gone;
    for (Call const& entry : record.calls()) {
        bool const isEnd = entry.function == Function::CondDestroy || entry.function == Function::MutexDestroy;
        if (isEnd && nameOf(entry.thread) == "ipc_cln") {
            gone.push_back(entry.function);
        }
    }
    EXPECT_THAT(gone, ElementsAre(Function::CondDestroy, Function::MutexDestroy, Function::CondDestroy,
                                  Function::MutexDestroy, Function::MutexDestroy));
}

TEST(HeldLocks, AManagerRegistersBeforeItsThreadIsStartedAndUnregistersAfterItHasEnded)
{
    Record& record = Record::instance();
    zelobox::Listener listener;
    std::atomic<void const*> handlersLock{nullptr};
    standin::onLog([&](standin::LogLine const& line) {
        if (line.message == "Connected IPC!") {
            handlersLock = held().at(0);
        }
    });
    std::optional<CobaltManager> manager(std::in_place, ZeloCallbacks{});
    zelobox::Connection const middleware = listener.accept();
    ASSERT_TRUE(eventually([&] { return handlersLock != nullptr; }));
    standin::onLog({});
    bool registered = false;
    bool registeredAtTheStart = false;
    for (Call const& entry : record.calls()) {
        registered = registered || (entry.function == Function::MutexLock && entry.object == handlersLock);
        if (entry.function == Function::ThreadCreate) {
            registeredAtTheStart = registered;
            break;
        }
    }
    EXPECT_TRUE(registeredAtTheStart);
    size_t const before = record.calls().size();
    manager.reset();
    bool joined = false;
    int unregistrations = 0;
    std::vector<Call> const all = record.calls();
    for (size_t i = before; i < all.size(); ++i) {
        Call const& entry = all[i];
        joined = joined || entry.function == Function::ThreadJoin;
        bool const isOurs = entry.function == Function::MutexLock && entry.object == handlersLock;
        unregistrations += isOurs && joined ? 1 : 0;
    }
    EXPECT_EQ(1, unregistrations);
}

TEST(HeldLocks, ARequestIsBuiltUnderNone)
{
    Record::instance();
    static std::atomic<int> built{0};
    static std::atomic<int> underALock{0};
    allocations::Observer const observer = {[](size_t size) {
                                                if (size == sizeof(IPCMessage) ||
                                                    size == sizeof(IPCMessageUnsignedInt) ||
                                                    size == sizeof(IPCMessageSimpleString)) {
                                                    ++built;
                                                    underALock += held().empty() ? 0 : 1;
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
