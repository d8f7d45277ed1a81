/// @file
/// A middleware that takes no more clients.
#ifndef ZELO_TESTKIT_BACKLOG_H
#define ZELO_TESTKIT_BACKLOG_H

#include <vector>

#include "zelobox/protocol/Peer.h"

/// Makes the connections that a listener with a backlog of 0 has room for, so that the next one waits.
std::vector<zelobox::Descriptor> fillBacklog();

#endif
