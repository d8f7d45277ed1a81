/// @file
/// The middleware's end of a stream of frames: the floor's and the library's.
#ifndef ZELO_BENCH_STREAM_H
#define ZELO_BENCH_STREAM_H

#include <vector>

#include "bench/side/Contender.h"
#include "testkit/Middleware.h"

class StreamPeer : public Peer {
public:
    void start() override;
    size_t sendMany(size_t size) override;
    void sendOne(bool apart) override;
    void receive() override;

protected:
    /// What is said before the frames that are measured.
    virtual void greet(Middleware& middleware) = 0;

private:
    void write(char const* bytes, size_t size);
    char const* take(size_t size);

    Middleware middleware;
    std::vector<char> many;
    std::vector<char> received = std::vector<char>(size_t{64} * 1024);
    size_t begin = 0;
    size_t end = 0;
};

#endif
