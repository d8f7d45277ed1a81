/// @file
/// A manager between a host that remembers its callbacks and a middleware that the test plays.
#ifndef ZELO_TESTKIT_MANAGERSUPPORT_H
#define ZELO_TESTKIT_MANAGERSUPPORT_H

#include <gtest/gtest.h>

#include <optional>

#include "cobalt/CobaltManager.h"
#include "testkit/Callbacks.h"
#include "testkit/HostStandIn.h"
#include "testkit/LinkSupport.h"
#include "testkit/Middleware.h"

namespace testlink {

/// A configuration of 1920 by 1080 in German.
extern zelobox::Frame const configuration;

/// A manager in a process whose configuration record and log are as at load. The callbacks record the volume with their
/// call: "volume 5 muted".
class Managed : public testing::Test {
protected:
    Managed();
    ~Managed() override;

    /// Makes the manager and hears out what it says first.
    void start(ZeloCallbacks const& callbacks = callbacks::all());
    /// Sends a frame and waits until it has been handled.
    void sendAndWait(zelobox::Frame const& frame);

    Middleware middleware;
    std::optional<CobaltManager> manager;
};

} // namespace testlink

#endif
