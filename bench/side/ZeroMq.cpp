// ZeroMQ: a pair of sockets over ipc.
#include <unistd.h>
#include <zmq.h>

#include <mutex>
#include <thread>
#include <vector>

#include "bench/side/Contender.h"

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

class ZeroMqHost : public Host {
public:
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

    /// A socket belongs to one thread at a time.
    void push() override
    {
        std::lock_guard<std::mutex> const lock(mutex);
        link.send(number);
    }

private:
    Link link{zmq_connect};
    std::mutex mutex;
    std::vector<char> const number = std::vector<char>(4);
};

class ZeroMqPeer : public Peer {
public:
    void start() override {}

    size_t sendMany(size_t size) override
    {
        payload.resize(size);
        link.send(payload);
        return 1;
    }

    void sendOne(bool) override { sendMany(4); }
    void receive() override { link.receive(); }

private:
    Link link{zmq_bind};
    std::vector<char> payload;
};

} // namespace

Contender const contender = {
    "ZeroMQ",
    600000,
    true,
    [](Handover) -> std::unique_ptr<Host> { return std::make_unique<ZeroMqHost>(); },
    []() -> std::unique_ptr<Peer> { return std::make_unique<ZeroMqPeer>(); },
    [] { unlink("/tmp/zelo_bench_zmq"); },
};
