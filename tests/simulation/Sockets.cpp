#include "tests/simulation/Sockets.h"

#include <errno.h>
#include <string.h>

#include <algorithm>

#include "tests/simulation/World.h"

namespace simulation {

void Pipe::take(char* to, size_t count)
{
    if (to != nullptr) {
        memcpy(to, bytes.data() + begin, count);
    }
    begin += count;
    if (begin > 65536 && begin * 2 > bytes.size()) {
        bytes.erase(0, begin);
        begin = 0;
    }
}

Sockets::Sockets()
{
    Descriptor standard;
    standard.kind = Descriptor::Kind::Host;
    descriptors.assign(3, standard);
}

/// The two ends of a connection hold each other.
Sockets::~Sockets()
{
    for (std::shared_ptr<Endpoint> const& endpoint : endpoints) {
        endpoint->peer.reset();
    }
}

std::shared_ptr<Endpoint> Sockets::makeEndpoint()
{
    endpoints.push_back(std::make_shared<Endpoint>());
    return endpoints.back();
}

int Sockets::open(Descriptor descriptor, int lowest)
{
    size_t number = static_cast<size_t>(lowest);
    while (number < descriptors.size() && descriptors[number].kind != Descriptor::Kind::Closed) {
        ++number;
    }
    if (descriptors.size() <= number) {
        descriptors.resize(number + 1);
    }
    descriptors[number] = std::move(descriptor);
    return static_cast<int>(number);
}

Descriptor* Sockets::find(int number)
{
    bool const known = number >= 0 && static_cast<size_t>(number) < descriptors.size();
    Descriptor* const descriptor = known ? &descriptors[static_cast<size_t>(number)] : nullptr;
    return descriptor != nullptr && descriptor->kind != Descriptor::Kind::Closed ? descriptor : nullptr;
}

void Sockets::close(int number)
{
    Descriptor& descriptor = descriptors[static_cast<size_t>(number)];
    std::shared_ptr<Endpoint> const socket = descriptor.socket;
    descriptor = Descriptor();
    bool const last = socket && std::none_of(descriptors.begin(), descriptors.end(),
                                             [&](Descriptor const& other) { return other.socket == socket; });
    if (last && socket->copies == 0) {
        closeEnd(*socket);
    }
}

size_t Sockets::librarySockets() const
{
    return static_cast<size_t>(std::count_if(descriptors.begin(), descriptors.end(), [](Descriptor const& one) {
        return one.kind == Descriptor::Kind::Socket;
    }));
}

void Sockets::closeEnd(Endpoint& end)
{
    if (end.closed) {
        return;
    }
    end.closed = true;
    if (end.peer) {
        // What it has not read is lost, and the kernel says so.
        if (end.in.size() != 0) {
            end.peer->error = ECONNRESET;
        }
        world().scheduler.wake(end.peer.get());
    }
    world().scheduler.wake(&end);
}

void Sockets::shutDown(Endpoint& end, bool reading, bool writing)
{
    end.readEnded = end.readEnded || reading;
    end.writeEnded = end.writeEnded || writing;
    world().scheduler.wake(&end);
    if (end.peer) {
        // The peer of a side that does not read any more cannot write.
        end.peer->writeEnded = end.peer->writeEnded || reading;
        world().scheduler.wake(end.peer.get());
    }
}

std::vector<std::shared_ptr<Endpoint>> Sockets::forkChild()
{
    std::vector<std::shared_ptr<Endpoint>> copies;
    for (Descriptor const& descriptor : descriptors) {
        if (descriptor.socket) {
            ++descriptor.socket->copies;
            copies.push_back(descriptor.socket);
        }
    }
    return copies;
}

void Sockets::endChild(std::vector<std::shared_ptr<Endpoint>> const& copies)
{
    for (std::shared_ptr<Endpoint> const& socket : copies) {
        bool const isOpen = std::any_of(world().sockets.descriptors.begin(), world().sockets.descriptors.end(),
                                        [&](Descriptor const& one) { return one.socket == socket; });
        if (--socket->copies == 0 && !isOpen) {
            closeEnd(*socket);
        }
    }
}

} // namespace simulation
