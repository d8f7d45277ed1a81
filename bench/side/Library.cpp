// The library through its entry points.
#include "bench/side/Stream.h"
#include "bench/support/Handshake.h"
#include "cobalt/ZeloCobalt.h"

namespace {

Received received;

class LibraryHost : public Host {
public:
    void start(Received whenReceived) override
    {
        received = std::move(whenReceived);
        ZeloCallbacks callbacks = {};
        callbacks.onKey = [](SbKey, uint8_t) { received(); };
        ZeloStartApp(callbacks);
    }

    void push() override { ZeloRequestPreviousController(); }
};

class LibraryPeer : public StreamPeer {
    zelobox::Connection accept(zelobox::Listener& listener) override { return acceptConfigured(listener); }
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
