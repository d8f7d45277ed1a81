#include <gtest/gtest.h>

#include <thread>

#include "cobalt/ZeloCobalt.h"
#include "simulator/Peer.h"
#include "tests/support/HostStandIn.h"

TEST(Start, WaitsForTheConfiguration)
{
    zelobox::Listener listener;
    std::thread start([] { ZeloStartApp({}); });
    zelobox::Connection middleware = listener.accept();
    EXPECT_EQ(IPC_ALLOWED_MESSAGE_LIST, middleware.receive().type);
    EXPECT_EQ(IPC_CONFIG_REQUEST, middleware.receive().type);
    EXPECT_EQ(IPC_CLIENT_STATE, middleware.receive().type);
    middleware.send({IPC_PAYLOAD_RAW, IPC_BROWSER_CONFIG, {}});
    start.join();
    EXPECT_EQ(IPC_CONFIG_STATE, middleware.receive().type);
    ZeloStopApp();
    EXPECT_EQ(1U, standin::logLines("Closing connection").size());
}
