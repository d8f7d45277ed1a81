/// @file
/// Both ends of a link that carries whole messages: a class with send(payload) and receive().
#ifndef ZELO_BENCH_LINKENDS_H
#define ZELO_BENCH_LINKENDS_H

#include <thread>
#include <utility>
#include <vector>

#include "bench/side/Contender.h"

template <typename Link> class LinkHost : public Host {
public:
    template <typename... Arguments> explicit LinkHost(Arguments... arguments) : link(arguments...) {}

    void start(Received received) override
    {
        if (received) {
            std::thread([this, received] {
                for (;;) {
                    link.receive();
                    received();
                }
            }).detach();
        }
    }

    void push() override
    {
        thread_local std::vector<char> number(4);
        link.send(number);
    }

protected:
    Link link;
};

template <typename Link> class LinkPeer : public Peer {
public:
    template <typename... Arguments> explicit LinkPeer(Arguments... arguments) : link(arguments...) {}

    void start() override {}

    size_t sendMany(size_t size) override
    {
        payload.resize(size);
        link.send(payload);
        return 1;
    }

    void sendOne(bool) override { sendMany(4); }
    void receive() override { link.receive(); }

protected:
    Link link;

private:
    std::vector<char> payload;
};

#endif
