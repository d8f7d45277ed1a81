// Host threads beside the connection's own ones, while connections come and go.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <thread>

#include "testkit/HostStandIn.h"
#include "testkit/LinkSupport.h"

using namespace testlink;

namespace {

/// Threads that do something again and again for a scope.
class Busy {
public:
    Busy(int count, std::function<void()> const& action)
    {
        for (int i = 0; i < count; ++i) {
            threads.emplace_back([this, action] {
                while (!ended) {
                    action();
                    std::this_thread::yield();
                }
            });
        }
    }
    ~Busy()
    {
        ended = true;
        for (std::thread& thread : threads) {
            thread.join();
        }
    }

private:
    std::atomic<bool> ended{false};
    std::vector<std::thread> threads;
};

} // namespace

TEST(Contention, PushesDuringReconnectsArriveWholeOrNotAtAll)
{
    zelobox::Listener listener;
    std::optional<Link> link(std::in_place);
    link->start();
    {
        Busy const pushers(3, [&] {
            if (CountedMessage::living < 1000) {
                link->push(new CountedMessage(IPC_CLIENT_STATE, 0x01020304));
            }
        });
        for (int connection = 0; connection < 20; ++connection) {
            zelobox::Connection middleware = listener.accept();
            for (int i = 0; i < 20; ++i) {
                ASSERT_EQ(numberFrame(IPC_CLIENT_STATE, 0x01020304), middleware.receive());
            }
        }
    }
    link.reset();
    EXPECT_EQ(0, CountedMessage::living);
}

TEST(Contention, HandlersComeAndGoWhileMessagesArrive)
{
    zelobox::Listener listener;
    RecordingHandler guest;
    Link link;
    zelobox::Connection middleware = link.startAndAccept(listener);
    size_t const messages = 500;
    {
        Busy const changing(2, [&] {
            link.client.addHandler(&guest);
            link.client.setAllowedMessages({IPC_VOLUME});
            link.client.removeHandler(&guest);
        });
        for (uint32_t i = 0; i < messages; ++i) {
            middleware.send(numberFrame(IPC_VOLUME, i));
        }
        ASSERT_TRUE(link.handler.waitFor("message 39", messages, Milliseconds(30000)));
    }
    EXPECT_GE(messages, guest.frames().size());
}
