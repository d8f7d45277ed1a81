/// @file
/// Both ends of the socket: a listener, its connections and a connect. Every step has a deadline.
#ifndef ZELO_ZELOBOX_PEER_H
#define ZELO_ZELOBOX_PEER_H

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "zelobox/base/Descriptor.h"
#include "zelobox/base/Milliseconds.h"
#include "zelobox/protocol/Frame.h"

namespace zelobox {

extern char const defaultSocketPath[]; // "/tmp/zelo_messenger"

/// What ends a step other than its success.
class PeerError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};
/// The deadline passed.
class PeerTimeout : public PeerError {
public:
    using PeerError::PeerError;
};
/// The other side closed the connection.
class PeerClosed : public PeerError {
public:
    using PeerError::PeerError;
};

/// @return empty, with errno, when nobody listens on @p path or too many wait there already
Descriptor connectTo(std::string const& path);

/// One accepted connection. Not synchronised, but one thread may receive while another one sends.
class Connection {
public:
    explicit Connection(Descriptor accepted);

    /// @throw PeerTimeout, PeerClosed, PeerError for a wrong sync byte
    Frame receive(Milliseconds deadline = Milliseconds(5000));
    /// @throw PeerTimeout, PeerClosed
    std::vector<char> receiveBytes(size_t count, Milliseconds deadline = Milliseconds(5000));

    /// Header and payload in one write. @throw PeerTimeout when the other side does not read, PeerClosed
    void send(Frame const& frame, Milliseconds deadline = Milliseconds(5000));
    void sendBytes(std::vector<char> const& bytes, Milliseconds deadline = Milliseconds(5000));

    /// Discards what arrives until the other side closes.
    ///
    /// @return false if it did not close in time
    bool waitForClose(Milliseconds deadline = Milliseconds(5000));

    /// @return true if nothing, not even an end, arrives for so long
    bool isSilentFor(Milliseconds duration);

    void close() { socket.reset(); }
    int descriptor() const { return socket.get(); }

private:
    Descriptor socket;
};

/// Listens on a socket file, which it removes at the end if it is still its own.
class Listener {
public:
    /// Takes over a socket file that nobody listens on.
    ///
    /// @throw PeerError when somebody listens there or the file cannot be made
    explicit Listener(std::string socketPath = defaultSocketPath, int backlog = 16);
    ~Listener();
    Listener(Listener const&) = delete;
    Listener& operator=(Listener const&) = delete;

    /// @throw PeerTimeout
    Connection accept(Milliseconds deadline = Milliseconds(5000));

    int descriptor() const { return socket.get(); }

private:
    std::string const path;
    Descriptor socket;
    uint64_t device = 0;
    uint64_t inode = 0;
};

} // namespace zelobox

#endif
