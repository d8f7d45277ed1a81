/// @file
/// The middleware's end of a stream of frames: the floor's and the library's.
#ifndef ZELO_BENCH_STREAM_H
#define ZELO_BENCH_STREAM_H

#include <optional>
#include <vector>

#include "bench/side/Contender.h"
#include "zelobox/protocol/Peer.h"

class StreamPeer : public Peer {
public:
    void start() override;
    size_t sendMany(size_t size) override;
    void sendOne(bool apart) override;
    void receive() override;

protected:
    /// What is said before the frames that are measured.
    virtual zelobox::Connection accept(zelobox::Listener& listener) = 0;

private:
    void write(char const* bytes, size_t size);
    char const* take(size_t size);

    zelobox::Listener ownListener;
    std::optional<zelobox::Connection> client;
    std::vector<char> many;
    std::vector<char> received = std::vector<char>(size_t{64} * 1024);
    size_t begin = 0;
    size_t end = 0;
};

#endif
