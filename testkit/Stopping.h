/// @file
/// The beginning and the end of a test of a stop.
#ifndef ZELO_TESTKIT_STOPPING_H
#define ZELO_TESTKIT_STOPPING_H

#include <gtest/gtest.h>

#include <optional>

#include "testkit/HostStandIn.h"
#include "testkit/Interpose.h"
#include "testkit/LinkSupport.h"
#include "testkit/Timely.h"

namespace testlink {

using timely::expectTimely;
using timely::PeriodicTimer;

/// Stops and destroys, as the end of the application does, and expects that no handler is told. The log begins anew.
void expectTimelyEnd(std::optional<Link>& link, Milliseconds limit = timely::stopLimit);

/// A connection that a test ends.
class Stopping : public testing::Test {
protected:
    void connect() { middleware = link->startAndAccept(listener); }

    zelobox::Listener listener;
    zelobox::Connection middleware{zelobox::Descriptor()};
    std::optional<Link> link{std::in_place};
};

} // namespace testlink

#endif
