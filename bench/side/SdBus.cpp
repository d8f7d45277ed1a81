// sd-bus: signals between two processes, without a daemon.
#include <sys/socket.h>
#include <systemd/sd-bus.h>

#include <cstdint>
#include <mutex>
#include <vector>

#include "bench/side/LinkEnds.h"

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

    void receive()
    {
        for (uint64_t const before = messages; messages == before;) {
            int const result = sd_bus_process(bus, nullptr);
            require(result >= 0, "sd_bus_process");
            if (result == 0) {
                sd_bus_wait(bus, UINT64_MAX);
            }
        }
    }

private:
    static int onMessage(sd_bus_message* message, void* link, sd_bus_error*)
    {
        Link& self = *static_cast<Link*>(link);
        void const* bytes = nullptr;
        size_t size = 0;
        require(sd_bus_message_read_array(message, 'y', &bytes, &size) >= 0, "sd_bus_message_read_array");
        ++self.messages;
        return 1;
    }

    sd_bus* bus = nullptr;
    uint64_t messages = 0;
};

class SdBusHost : public LinkHost<Link> {
public:
    SdBusHost() : LinkHost(ends[0], false) {}

    /// A bus belongs to one thread at a time.
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
    "sd-bus",
    50000,
    true,
    [](Handover) -> std::unique_ptr<Host> { return std::make_unique<SdBusHost>(); },
    []() -> std::unique_ptr<Peer> { return std::make_unique<LinkPeer<Link>>(ends[1], true); },
    [] { require(socketpair(AF_UNIX, SOCK_STREAM, 0, ends) == 0, "socketpair"); },
};
