// nng: a pair of sockets over ipc.
#include <nng/nng.h>
#include <nng/protocol/pair0/pair.h>
#include <unistd.h>

#include <utility>
#include <vector>

#include "bench/side/LinkEnds.h"

namespace {

char const address[] = "ipc:///tmp/zelo_bench_nng";

class Link {
public:
    Link()
    {
        require(nng_pair0_open(&socket) == 0, "nng_pair0_open");
        require(nng_socket_set_size(socket, NNG_OPT_RECVMAXSZ, 0) == 0, "nng_socket_set_size");
    }

    void listen() { require(nng_listen(socket, address, nullptr, 0) == 0, "nng_listen"); }

    void dial()
    {
        while (nng_dial(socket, address, nullptr, 0) != 0) {
            usleep(1000);
        }
    }

    void send(std::vector<char>& payload)
    {
        require(nng_send(socket, payload.data(), payload.size(), 0) == 0, "nng_send");
    }

    void receive()
    {
        nng_msg* message = nullptr;
        require(nng_recvmsg(socket, &message, 0) == 0, "nng_recvmsg");
        nng_msg_free(message);
    }

private:
    nng_socket socket;
};

class NngHost : public LinkHost<Link> {
public:
    void start(Received received) override
    {
        link.dial();
        LinkHost::start(std::move(received));
    }
};

class NngPeer : public LinkPeer<Link> {
public:
    void start() override { link.listen(); }
};

} // namespace

Contender const contender = {
    "nng",
    8000,
    true,
    [](Handover) -> std::unique_ptr<Host> { return std::make_unique<NngHost>(); },
    []() -> std::unique_ptr<Peer> { return std::make_unique<NngPeer>(); },
    [] { unlink("/tmp/zelo_bench_nng"); },
};
