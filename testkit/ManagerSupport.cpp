#include "testkit/ManagerSupport.h"

namespace testlink {

namespace {

std::string volumeText()
{
    unsigned volume = 0;
    bool muted = false;
    CobaltManager::volumes(volume, muted);
    return " " + std::to_string(volume) + (muted ? " muted" : "");
}

} // namespace

zelobox::Frame const configuration = {IPC_PAYLOAD_RAW, IPC_BROWSER_CONFIG, [] {
                                          ConfigPayload config = configWith("de");
                                          config.displayFlag = 1;
                                          return config.bytes();
                                      }()};

Managed::Managed()
{
    CobaltManager::_config = CobaltManager::Config();
    standin::clearLog();
    callbacks::clearCalls();
    callbacks::setVolumeText(&volumeText);
}

Managed::~Managed()
{
    manager.reset();
    callbacks::setBody({});
}

void Managed::start(ZeloCallbacks const& callbacks)
{
    manager.emplace(callbacks);
    middleware.accept();
    EXPECT_EQ(allowedList, middleware.receive());
    EXPECT_EQ(configRequest, middleware.receive());
    EXPECT_EQ(clientState, middleware.receive());
}

void Managed::sendAndWait(zelobox::Frame const& frame)
{
    size_t const before = standin::logLines("New message received: 8 length 0").size();
    middleware.send(frame);
    middleware.send({IPC_PAYLOAD_RAW, IPC_UNHANDLED_8, {}});
    // The trace of the second message comes when the first one has been handled.
    ASSERT_TRUE(standin::waitForLog("New message received: 8 length 0", before + 1));
}

} // namespace testlink
