/// @file
/// What a middleware says to a client before the work that is measured.
#ifndef ZELO_BENCH_HANDSHAKE_H
#define ZELO_BENCH_HANDSHAKE_H

#include "zelobox/protocol/Peer.h"

/// Accepts a client, gives it a configuration and takes its answers.
zelobox::Connection acceptConfigured(zelobox::Listener& listener);

#endif
