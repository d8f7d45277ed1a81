// sd-bus: signals between two processes, without a daemon.
#include <sys/socket.h>
#include <systemd/sd-bus.h>

#include <cstdint>
#include <mutex>
#include <thread>
#include <vector>

#include "bench/side/Contender.h"

namespace {

int ends[2];

class Link {
public:
    Link(int fd, bool isServer)
    {
        sd_id128_t id;
        require(sd_id128_randomize(&id) >= 0, "sd_id128_randomize");
        require(sd_bus_new(&bus) >= 0, "sd_bus_new");
        require(sd_bus_set_fd(bus, fd, fd) >= 0, "sd_bus_set_fd");
        require(!isServer || sd_bus_set_server(bus, 1, id) >= 0, "sd_bus_set_server");
        require(sd_bus_set_anonymous(bus, 1) >= 0, "sd_bus_set_anonymous");
        require(sd_bus_start(bus) >= 0, "sd_bus_start");
        require(sd_bus_add_filter(bus, nullptr, onMessage, this) >= 0, "sd_bus_add_filter");
    }

    void send(std::vector<char> const& payload)
    {
        sd_bus_message* message = nullptr;
        require(sd_bus_message_new_signal(bus, &message, "/", "box.Keys", "Key") >= 0, "sd_bus_message_new_signal");
        require(sd_bus_message_append_array(message, 'y', payload.data(), payload.size()) >= 0, "append");
        require(sd_bus_send(bus, message, nullptr) >= 0, "sd_bus_send");
        require(sd_bus_flush(bus) >= 0, "sd_bus_flush");
        sd_bus_message_unref(message);
    }

    /// Waits until something has been processed.
    void process()
    {
        int const result = sd_bus_process(bus, nullptr);
        require(result >= 0, "sd_bus_process");
        if (result == 0) {
            sd_bus_wait(bus, UINT64_MAX);
        }
    }

    uint64_t messages = 0;
    Received received;

private:
    static int onMessage(sd_bus_message* message, void* link, sd_bus_error*)
    {
        Link& self = *static_cast<Link*>(link);
        void const* bytes = nullptr;
        size_t size = 0;
        require(sd_bus_message_read_array(message, 'y', &bytes, &size) >= 0, "sd_bus_message_read_array");
        ++self.messages;
        if (self.received) {
            self.received();
        }
        return 1;
    }

    sd_bus* bus = nullptr;
};

class SdBusHost : public Host {
public:
    void start(Received received) override
    {
        if (received) {
            link.received = std::move(received);
            std::thread([this] {
                for (;;) {
                    link.process();
                }
            }).detach();
        }
    }

    /// A bus belongs to one thread at a time.
    void push() override
    {
        std::lock_guard<std::mutex> const lock(mutex);
        link.send(number);
    }

private:
    Link link{ends[0], false};
    std::mutex mutex;
    std::vector<char> const number = std::vector<char>(4);
};

class SdBusPeer : public Peer {
public:
    void start() override {}

    size_t sendMany(size_t size) override
    {
        payload.resize(size);
        link.send(payload);
        return 1;
    }

    void sendOne(bool) override { sendMany(4); }

    void receive() override
    {
        for (uint64_t const before = link.messages; link.messages == before;) {
            link.process();
        }
    }

private:
    Link link{ends[1], true};
    std::vector<char> payload;
};

} // namespace

Contender const contender = {
    "sd-bus",
    50000,
    true,
    [](Handover) -> std::unique_ptr<Host> { return std::make_unique<SdBusHost>(); },
    []() -> std::unique_ptr<Peer> { return std::make_unique<SdBusPeer>(); },
    [] { require(socketpair(AF_UNIX, SOCK_STREAM, 0, ends) == 0, "socketpair"); },
};
