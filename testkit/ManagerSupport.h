/// @file
/// A manager between a host that remembers its callbacks and a middleware that the test plays.
#ifndef ZELO_TESTKIT_MANAGERSUPPORT_H
#define ZELO_TESTKIT_MANAGERSUPPORT_H

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "cobalt/CobaltManager.h"
#include "testkit/HostStandIn.h"
#include "testkit/LinkSupport.h"

namespace testlink {

/// Callbacks that remember their calls: "key 37 1" (code, modifier), "pause", "resume", "volume 5 muted".
ZeloCallbacks rememberingCallbacks();
std::vector<std::string> hostCalls();
bool waitForHostCall(std::string const& call, size_t count = 1);
/// Called in every callback, on its thread; empty to remove.
void onHostCall(std::function<void()> const& observer);

/// What the manager says on every connection.
extern zelobox::Frame const allowedList;
extern zelobox::Frame const configRequest;
extern zelobox::Frame const clientState;
/// What it answers to every configuration.
extern zelobox::Frame const configState;
extern zelobox::Frame const fullScreen;
extern zelobox::Frame const boxMode;

/// A configuration of 1920 by 1080 in German.
extern zelobox::Frame const configuration;

/// A manager in a process whose configuration record and log are as at load.
class Managed : public testing::Test {
protected:
    Managed();
    ~Managed() override;

    /// Makes the manager and hears out what it says first.
    void start(ZeloCallbacks const& callbacks = rememberingCallbacks());
    /// Sends a frame and waits until it has been handled.
    void sendAndWait(zelobox::Frame const& frame);

    zelobox::Listener listener;
    zelobox::Connection middleware{zelobox::Descriptor()};
    std::optional<CobaltManager> manager;
};

} // namespace testlink

#endif
