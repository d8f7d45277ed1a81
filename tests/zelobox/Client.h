/// @file
/// A client of the messenger, as the library is one.
#ifndef ZELO_TESTS_CLIENT_H
#define ZELO_TESTS_CLIENT_H

#include <string>

#include "zelobox/protocol/Peer.h"

namespace program {

/// @throw std::runtime_error when nobody listens on @p path
zelobox::Connection connectTo(std::string const& path);

/// Connects, subscribes to @p types and waits until that has been taken note of.
///
/// @return a connection on which the configuration, as the answer to a request, has been received
zelobox::Connection subscribe(std::string const& path, std::set<IPCMessageType> const& types);

} // namespace program

#endif
