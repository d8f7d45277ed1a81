/// @file
/// A stream of bytes in place of a middleware: a socket pair that the library takes for its connection.
#ifndef ZELO_FUZZ_STREAMPEER_H
#define ZELO_FUZZ_STREAMPEER_H

#include <cstddef>
#include <vector>

/// Serves one connection with prepared bytes and refuses every further one. One at a time.
class StreamPeer {
public:
    /// @param bytes  what the client receives before the end of the stream
    /// @param chunk  at most so many bytes in one call of the client, either way; 0 for no limit
    StreamPeer(std::vector<char> const& bytes, size_t chunk);
    ~StreamPeer();
    StreamPeer(StreamPeer const&) = delete;
    StreamPeer& operator=(StreamPeer const&) = delete;

    /// Waits until the client has come back for a second connection.
    static void waitForReturn();
};

#endif
