#include "zelobox/middleware/Server.h"

#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>

namespace zelobox {

namespace {

Milliseconds const slowPause(5);
int const mostReads = 64; // before a new client has its turn
int const blockedMs = 10000;
uint64_t const endurableLength = uint64_t{16} << 20;

} // namespace

Server::Server(EventLoop& eventLoop, Handler& eventHandler, std::string const& path)
    : loop(eventLoop), handler(eventHandler), listener(path), ticker(eventLoop)
{
    loop.watch(listener.descriptor(), [this] { accept(); });
}

Server::~Server()
{
    loop.forget(listener.descriptor());
    for (ClientId const id : clients()) {
        disconnect(id);
    }
}

void Server::send(ClientId id, std::vector<char> const& bytes)
{
    auto const found = connections.find(id);
    if (found != connections.end()) {
        std::vector<char>& unsent = found->second.unsent;
        unsent.insert(unsent.end(), bytes.begin(), bytes.end());
        flush(id);
    }
}

bool Server::hasTakenAll(ClientId id) const
{
    auto const found = connections.find(id);
    return found == connections.end() || found->second.unsent.empty();
}

void Server::disconnect(ClientId id)
{
    auto const found = connections.find(id);
    if (found != connections.end()) {
        loop.forget(found->second.socket.get());
        connections.erase(found);
    }
}

std::vector<ClientId> Server::clients() const
{
    std::vector<ClientId> ids;
    for (auto const& connection : connections) {
        ids.push_back(connection.first);
    }
    return ids;
}

ClientProcess Server::process(ClientId id) const
{
    auto const found = connections.find(id);
    ucred credentials = {};
    socklen_t size = sizeof credentials;
    if (found == connections.end() ||
        getsockopt(found->second.socket.get(), SOL_SOCKET, SO_PEERCRED, &credentials, &size) != 0) {
        return {};
    }
    ClientProcess process;
    process.id = credentials.pid;
    std::ifstream file("/proc/" + std::to_string(process.id) + "/comm"); // empty for one that has gone
    std::getline(file, process.name);
    return process;
}

void Server::setFaults(Faults const& next)
{
    faults = next;
    if (faults.isSlow && !ticker.isRunning()) {
        ticker.start(slowPause, [this] { sendByteToEach(); });
    } else if (!faults.isSlow) {
        ticker.stop();
    }
    for (ClientId const id : clients()) {
        watch(id);
        flush(id);
    }
}

void Server::accept()
{
    Descriptor socket(accept4(listener.descriptor(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
    if (!faults.stalls) {
        // A client that closes one connection and makes another has done so in this order.
        for (ClientId const id : clients()) {
            for (int i = 0; i < mostReads && receive(id); ++i) {
            }
        }
    }
    bool const hasRoom = connections.size() < faults.mostClients && lastId < faults.lastClient;
    if (!socket || !hasRoom) {
        return; // the client has gone again, or must
    }
    ClientId const id = ++lastId;
    connections[id].socket = std::move(socket);
    watch(id);
    handler.onConnected(id);
}

void Server::watch(ClientId id)
{
    int const fd = connections.at(id).socket.get();
    if (faults.stalls) {
        loop.forget(fd);
    } else {
        loop.watch(fd, [this, id] { receive(id); });
    }
}

bool Server::receive(ClientId id)
{
    auto const found = connections.find(id);
    if (found == connections.end()) {
        return false;
    }
    Client& client = found->second;
    char bytes[16384];
    ssize_t const count = recv(client.socket.get(), bytes, sizeof bytes, 0);
    if (count > 0) {
        client.reader.append(bytes, static_cast<size_t>(count));
        deliver(id);
    } else if (count == 0) {
        bool const isWhole = client.reader.pending() == 0;
        if (!isWhole && faults.diesOnVanish) {
            throw Died("a client has gone in the middle of a frame");
        }
        lose(id, isWhole ? "closed by the client" : "closed by the client in the middle of a frame");
    } else if (errno != EAGAIN && errno != EINTR) {
        lose(id, std::strerror(errno));
    }
    return count > 0;
}

/// Hands over whole frames, as long as the handler has not disconnected the client.
void Server::deliver(ClientId id)
{
    try {
        for (auto found = connections.find(id); found != connections.end(); found = connections.find(id)) {
            std::optional<Frame> const frame = found->second.reader.next();
            if (!frame) {
                return noticeIncomplete(id, found->second.reader);
            }
            handler.onFrame(id, *frame);
        }
    } catch (PeerError const& error) {
        if (faults.diesOnGarbage) {
            throw Died(error.what());
        }
        lose(id, error.what());
    }
}

void Server::noticeIncomplete(ClientId id, FrameReader const& reader)
{
    if (faults.diesOnLie && reader.announced() > endurableLength) {
        throw Died("a client has announced a frame of " + std::to_string(reader.announced()) + " bytes");
    }
    if (faults.wantsWholeFrames && reader.pending() != 0) {
        lose(id, "a frame did not come at once");
    }
}

void Server::flush(ClientId id)
{
    Client& client = connections.at(id);
    if (faults.stalls || faults.isSlow) {
        return; // later, or by the ticker
    }
    size_t const most = faults.splits ? 1 : SIZE_MAX;
    while (!client.unsent.empty() && sendSome(client, most)) {
    }
    // A client that is gone is noticed by the next receive.
    if (client.unsent.empty()) {
        loop.watchWritable(client.socket.get(), nullptr);
    } else {
        loop.watchWritable(client.socket.get(), [this, id] { flush(id); });
    }
}

bool Server::sendSome(Client& client, size_t most)
{
    size_t const size = std::min(client.unsent.size(), most);
    ssize_t count = ::send(client.socket.get(), client.unsent.data(), size, MSG_NOSIGNAL);
    if (count < 0 && errno == EAGAIN && faults.blocks) {
        pollfd entry = {client.socket.get(), POLLOUT, 0};
        return poll(&entry, 1, blockedMs) > 0;
    }
    if (count < 0 && errno != EAGAIN && errno != EINTR) {
        count = static_cast<ssize_t>(client.unsent.size()); // nobody takes it any more
    }
    client.unsent.erase(client.unsent.begin(), client.unsent.begin() + std::max<ssize_t>(count, 0));
    return count > 0;
}

void Server::sendByteToEach()
{
    for (auto& connection : connections) {
        if (!faults.stalls && !connection.second.unsent.empty()) {
            sendSome(connection.second, 1);
        }
    }
}

void Server::lose(ClientId id, std::string const& reason)
{
    disconnect(id);
    handler.onDisconnected(id, reason);
}

} // namespace zelobox
