#include <gtest/gtest.h>

#include "simulator/Peer.h"
#include "src/ipc/IPCMessengerClient.h"
#include "tests/support/HostStandIn.h"

TEST(Link, ConnectsAndClosesOnStop)
{
    zelobox::Listener listener;
    {
        IPCMessengerClient client;
        client.start(nullptr);
        zelobox::Connection connection = listener.accept();
        ASSERT_TRUE(standin::waitForLog("ipc_connection - ok"));
        client.stop();
    }
    EXPECT_EQ(1U, standin::logLines("Closing connection").size());
}
