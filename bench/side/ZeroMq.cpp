// ZeroMQ: a pair of sockets over ipc.
#include <unistd.h>
#include <zmq.h>

#include <mutex>
#include <vector>

#include "bench/side/LinkEnds.h"

namespace {

char const address[] = "ipc:///tmp/zelo_bench_zmq";

class Link {
public:
    explicit Link(int (*join)(void*, char const*)) { require(join(socket, address) == 0, "zmq socket"); }

    void send(std::vector<char> const& payload)
    {
        require(zmq_send(socket, payload.data(), payload.size(), 0) >= 0, "zmq_send");
    }

    void receive() { require(zmq_msg_recv(&message, socket, 0) >= 0, "zmq_msg_recv"); }

private:
    void* const context = zmq_ctx_new();
    void* const socket = zmq_socket(context, ZMQ_PAIR);
    zmq_msg_t message = emptyMessage();

    static zmq_msg_t emptyMessage()
    {
        zmq_msg_t made;
        zmq_msg_init(&made);
        return made;
    }
};

class ZeroMqHost : public LinkHost<Link> {
public:
    ZeroMqHost() : LinkHost(zmq_connect) {}

    /// A socket belongs to one thread at a time.
    void push() override
    {
        std::lock_guard<std::mutex> const lock(mutex);
        LinkHost::push();
    }

private:
    std::mutex mutex;
};

} // namespace

Contender const contender = {
    "ZeroMQ",
    600000,
    true,
    [](Handover) -> std::unique_ptr<Host> { return std::make_unique<ZeroMqHost>(); },
    []() -> std::unique_ptr<Peer> { return std::make_unique<LinkPeer<Link>>(zmq_bind); },
    [] { unlink("/tmp/zelo_bench_zmq"); },
};
