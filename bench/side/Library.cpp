// The library through its entry points.
#include "bench/side/Stream.h"
#include "cobalt/ZeloCobalt.h"
#include "testkit/HostStandIn.h"

namespace {

Received received;

class LibraryHost : public Host {
public:
    void start(Received whenReceived) override
    {
        received = std::move(whenReceived);
        standin::setLogging(standin::Logging::Dropped);
        ZeloCallbacks callbacks = {};
        callbacks.onKey = [](SbKey, uint8_t) { received(); };
        ZeloStartApp(callbacks);
    }

    void push() override { ZeloRequestPreviousController(); }
};

class LibraryPeer : public StreamPeer {
    void greet(Middleware& peer) override
    {
        peer.acceptClient(zelobox::Milliseconds(30000));
        peer.configure();
    }
};

} // namespace

Contender const contender = {
    "library",
    100000,
    true,
    [](Handover) -> std::unique_ptr<Host> { return std::make_unique<LibraryHost>(); },
    []() -> std::unique_ptr<Peer> { return std::make_unique<LibraryPeer>(); },
    nullptr,
};
