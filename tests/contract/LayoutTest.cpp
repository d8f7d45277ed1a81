// The positions of fields and of virtual operations, seen from outside: objects are called through the tables that they
// begin with, and a handler is nothing but such a table.
#include <cxxabi.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stddef.h>
#include <string.h>

#include <memory>
#include <new>
#include <type_traits>
#include <typeinfo>

#include "cobalt/CobaltManager.h"
#include "src/common/STBThread.h"
#include "src/ipc/IPCMessage.h"
#include "src/ipc/IPCMessengerClient.h"
#include "testkit/HostStandIn.h"
#include "zelobox/protocol/Peer.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

typedef void (*Slot)();

Slot slotOf(void const* object, size_t number)
{
    Slot const* table;
    memcpy(&table, object, sizeof table);
    return table[number];
}

template <typename... Arguments> void callSlot(void* object, size_t number, Arguments... arguments)
{
    reinterpret_cast<void (*)(void*, Arguments...)>(slotOf(object, number))(object, arguments...);
}

std::vector<std::string> events;

class Message : public IPCMessage {
public:
    Message() : IPCMessage(IPC_PAYLOAD_RAW, IPC_VOLUME) {}
    ~Message() override { events.push_back("destroyed"); }
    void serialize() override { events.push_back("serialize"); }
    void unserialize() override { events.push_back("unserialize"); }
};

class Thread : public STBThread {
public:
    ~Thread() override { events.push_back("destroyed"); }
    void run() override { events.push_back("run"); }
};

/// A handler without a class: the object is a pointer to a table.
struct Handler {
    Slot const* table;
};

void onFirst(Handler*, IPCMessage const* message)
{
    events.push_back("message " + std::to_string(message->type));
}

void onSecond(Handler*)
{
    events.push_back("connected");
}

void onThird(Handler*)
{
    events.push_back("disconnected");
}

Slot const handlerTable[] = {reinterpret_cast<Slot>(&onFirst), reinterpret_cast<Slot>(&onSecond),
                             reinterpret_cast<Slot>(&onThird)};

/// A class's table by its symbol: two entries stand before slot 0.
extern "C" Slot const senderTable[] __asm__("_ZTVN18IPCMessengerClient16OutMessageSenderE");
extern "C" Slot const clientTable[] __asm__("_ZTV18IPCMessengerClient");
extern "C" void senderRun() __asm__("_ZN18IPCMessengerClient16OutMessageSender3runEv");
extern "C" void senderDestroy() __asm__("_ZN18IPCMessengerClient16OutMessageSenderD1Ev");
extern "C" void senderDelete() __asm__("_ZN18IPCMessengerClient16OutMessageSenderD0Ev");
extern "C" void clientRun() __asm__("_ZN18IPCMessengerClient3runEv");

/// The one slot of a listener.
class Listener : public STBThread::OnThreadCompletedListener {
public:
    void onThreadCompleted(STBThread* thread) override { events.push_back(thread == nullptr ? "completed" : "?"); }
};

static_assert(sizeof(IPCPayloadKind) == 4 && sizeof(IPCMessageType) == 4 && sizeof(STBThread::Priority) == 4,
              "32-bit enumerations");
static_assert(std::has_virtual_destructor<IPCMessage>::value && std::has_virtual_destructor<STBThread>::value,
              "deleted through the base");
static_assert(std::is_abstract<STBThread>::value, "the body is a subclass's");
static_assert(!std::has_virtual_destructor<IPCMessengerClient::IPCMessengerHandler>::value &&
                  !std::has_virtual_destructor<STBThread::OnThreadCompletedListener>::value,
              "a destructor would take the first slots");
static_assert(std::is_base_of<STBThread, IPCMessengerClient>::value, "the client is a thread");

/// Expects one public base, without another class in between.
template <typename Derived, typename Base> void expectOnlyBase()
{
    auto const* const info = dynamic_cast<abi::__si_class_type_info const*>(&typeid(Derived));
    ASSERT_NE(nullptr, info) << typeid(Derived).name();
    EXPECT_STREQ(typeid(Base).name(), info->__base_type->name()) << typeid(Derived).name();
}

template <typename... Derived> void expectMessages()
{
    static_cast<void>(std::initializer_list<int>{(expectOnlyBase<Derived, IPCMessage>(), 0)...});
}

size_t offsetIn(IPCMessage const& message, void const* field)
{
    return static_cast<size_t>(static_cast<char const*>(field) - reinterpret_cast<char const*>(&message));
}

} // namespace

TEST(MessageSlots, AreTwoDestructorsSerializeUnserialize)
{
    Message* const message = new Message;
    callSlot(message, 2);
    callSlot(message, 3);
    EXPECT_THAT(events, ElementsAre("serialize", "unserialize"));
    callSlot(message, 1);
    EXPECT_THAT(events, ElementsAre("serialize", "unserialize", "destroyed"));
    alignas(Message) char room[sizeof(Message)];
    callSlot(new (room) Message, 0);
    EXPECT_EQ(4U, events.size());
}

TEST(MessageSlots, HoldForTheLibrarysOwnClasses)
{
    IPCMessageUnsignedInt number(IPC_VOLUME, 0x01020304);
    callSlot(&number, 2);
    EXPECT_THAT(number.payload, ElementsAre(1, 2, 3, 4));
    number.value = 0;
    callSlot(&number, 3);
    EXPECT_EQ(0x01020304U, number.value);
}

TEST(ThreadSlots, AreTwoDestructorsThenRun)
{
    Thread* const thread = new Thread;
    callSlot(thread, 2);
    EXPECT_THAT(events, ElementsAre("run"));
    callSlot(thread, 1);
    EXPECT_THAT(events, ElementsAre("run", "destroyed"));
    alignas(Thread) char room[sizeof(Thread)];
    callSlot(new (room) Thread, 0);
    EXPECT_EQ(3U, events.size());
}

TEST(ThreadSlots, HoldForSenderAndClient)
{
    EXPECT_EQ(&senderDestroy, senderTable[2]);
    EXPECT_EQ(&senderDelete, senderTable[3]);
    EXPECT_EQ(&senderRun, senderTable[4]);
    EXPECT_EQ(&clientRun, clientTable[4]);
}

#if !defined(__SANITIZE_ADDRESS__) // comes with a check of type information, which a bare table has none of
TEST(HandlerSlots, AreMessageConnectedDisconnected)
{
    zelobox::Listener listener;
    Handler handler = {handlerTable};
    auto* const asInterface = reinterpret_cast<IPCMessengerClient::IPCMessengerHandler*>(&handler);
    IPCMessengerClient client;
    client.addHandler(asInterface);
    client.start(nullptr);
    {
        zelobox::Connection middleware = listener.accept();
        middleware.send(zelobox::frameOf(IPCMessageUnsignedInt(IPC_VOLUME, 1)));
    }
    // The next connection comes after the end of the first has been told.
    zelobox::Connection const again = listener.accept();
    client.stop();
    client.removeHandler(asInterface);
    ASSERT_GE(events.size(), 3U);
    events.resize(3);
    EXPECT_THAT(events, ElementsAre("connected", "message 39", "disconnected"));
}
#endif

TEST(HandlerSlots, HoldForTheManager)
{
    CobaltManager manager({});
    IPCMessageUnsignedInt volume(IPC_VOLUME, 30);
    callSlot<IPCMessage const*>(&manager, 0, &volume);
    unsigned level = 0;
    bool muted = true;
    EXPECT_TRUE(CobaltManager::volumes(level, muted));
    EXPECT_EQ(30U, level);
    callSlot(&manager, 2);
    EXPECT_EQ(1U, standin::logLines("Disconnected IPC").size());
    EXPECT_THAT(standin::logLines("Connected IPC!"), IsEmpty());
    callSlot(&manager, 1);
    EXPECT_EQ(1U, standin::logLines("Connected IPC!").size());
}

TEST(ListenerSlots, AreItsOneEvent)
{
    Listener listener;
    callSlot<STBThread*>(&listener, 0, nullptr);
    EXPECT_THAT(events, ElementsAre("completed"));
}

TEST(Layout, OfAMessageHasItsCodesBeforeItsPayload)
{
    IPCMessage const message(IPC_PAYLOAD_RAW, IPC_VOLUME);
    EXPECT_EQ(sizeof(void*), offsetIn(message, &message.payloadKind));
    EXPECT_EQ(sizeof(void*) + 4, offsetIn(message, &message.type));
    EXPECT_EQ(sizeof(void*) + 8, offsetIn(message, &message.headerKind));
    EXPECT_EQ(sizeof(void*) + 10, offsetIn(message, &message.headerType));
    EXPECT_LE(sizeof(void*) + 12, offsetIn(message, &message.payload));
}

TEST(Layout, OfEveryMessageClassContinuesTheBasesAlone)
{
    expectMessages<IPCMessageUnsignedInt, IPCMessageUnsignedInt64, IPCMessageUnsignedIntArray, IPCMessageSimpleString,
                   IPCMessageStringArray, IPCMessageAllowedMessageList, IPCMessageRecorderStats,
                   IPCMessagePlayerPlaybackInfo, IPCMessagePlayerMediaInfo>();
}

TEST(Layout, OfClientAndManagerContinuesThatOfTheirBases)
{
    expectOnlyBase<IPCMessengerClient, STBThread>();
    expectOnlyBase<CobaltManager, IPCMessengerClient::IPCMessengerHandler>();
}
