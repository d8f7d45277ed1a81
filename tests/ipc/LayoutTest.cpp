// The order of fields and of virtual operations, which code outside this library may rely on.
#include <cxxabi.h>
#include <gtest/gtest.h>
#include <stddef.h>

#include <memory>
#include <new>
#include <type_traits>
#include <typeinfo>

#include "cobalt/CobaltManager.h"
#include "src/common/STBThread.h"
#include "src/ipc/IPCMessage.h"
#include "src/ipc/IPCMessengerClient.h"

namespace {

template <typename Function> Function slotOf(void* object, size_t index)
{
    void** const table = *static_cast<void***>(object);
    return reinterpret_cast<Function>(table[index]);
}

void call(void* object, size_t index)
{
    slotOf<void (*)(void*)>(object, index)(object);
}

std::string called;

class Message : public IPCMessage {
public:
    Message() : IPCMessage(IPC_PAYLOAD_RAW, IPC_VOLUME) {}
    ~Message() override { called += "destroy "; }
    void serialize() override { called += "serialize "; }
    void unserialize() override { called += "unserialize "; }
    static void* operator new(size_t size) { return ::operator new(size); }
    static void operator delete(void* memory)
    {
        called += "free ";
        ::operator delete(memory);
    }
};

class Thread : public STBThread {
public:
    ~Thread() override { called += "destroy "; }
    void run() override { called += "run "; }
    static void* operator new(size_t size) { return ::operator new(size); }
    static void operator delete(void* memory)
    {
        called += "free ";
        ::operator delete(memory);
    }
};

class Handler : public IPCMessengerClient::IPCMessengerHandler {
public:
    void onNewMessageReceived(IPCMessage const* message) override { called += message == nullptr ? "message " : "?"; }
    void onConnected() override { called += "connected "; }
    void onDisconnected() override { called += "disconnected "; }
};

class Listener : public STBThread::OnThreadCompletedListener {
public:
    void onThreadCompleted(STBThread* thread) override { called += thread == nullptr ? "completed " : "?"; }
};

/// Calls the first two slots, the destructors without and with the release of the memory.
template <typename T> void expectDestructorsFirst()
{
    called.clear();
    std::aligned_storage_t<sizeof(T), alignof(T)> storage;
    call(::new (&storage) T, 0);
    EXPECT_EQ("destroy ", called);
    call(static_cast<void*>(new T), 1);
    EXPECT_EQ("destroy destroy free ", called);
}

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

TEST(Layout, OfAMessageBeginsWithItsDestructors)
{
    expectDestructorsFirst<Message>();
}

TEST(Layout, OfAMessageGoesOnWithItsTwoConversions)
{
    Message message;
    called.clear();
    call(&message, 2);
    call(&message, 3);
    EXPECT_EQ("serialize unserialize ", called);
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

TEST(Layout, OfAThreadBeginsWithItsDestructors)
{
    expectDestructorsFirst<Thread>();
}

TEST(Layout, OfAThreadGoesOnWithItsBody)
{
    Thread thread;
    called.clear();
    call(&thread, 2);
    EXPECT_EQ("run ", called);
}

TEST(Layout, OfAHandlerHasItsThreeEventsAlone)
{
    Handler handler;
    called.clear();
    slotOf<void (*)(void*, void const*)>(&handler, 0)(&handler, nullptr);
    call(&handler, 1);
    call(&handler, 2);
    EXPECT_EQ("message connected disconnected ", called);
}

TEST(Layout, OfAListenerHasItsEventAlone)
{
    Listener listener;
    called.clear();
    slotOf<void (*)(void*, void*)>(&listener, 0)(&listener, nullptr);
    EXPECT_EQ("completed ", called);
}
