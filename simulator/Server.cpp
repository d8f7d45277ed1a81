#include "simulator/Server.h"

#include <sys/socket.h>

#include <cerrno>
#include <cstring>

namespace zelobox {

Server::Server(EventLoop& eventLoop, Handler& eventHandler, std::string const& path)
    : loop(eventLoop), handler(eventHandler), listener(path)
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

void Server::accept()
{
    Descriptor socket(accept4(listener.descriptor(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
    if (!socket) {
        return; // the client has gone again
    }
    ClientId const id = ++lastId;
    loop.watch(socket.get(), [this, id] { receive(id); });
    connections[id].socket = std::move(socket);
    handler.onConnected(id);
}

void Server::receive(ClientId id)
{
    Client& client = connections.at(id);
    char bytes[16384];
    ssize_t const count = recv(client.socket.get(), bytes, sizeof bytes, 0);
    if (count > 0) {
        client.reader.append(bytes, static_cast<size_t>(count));
        deliver(id);
    } else if (count == 0) {
        size_t const pending = client.reader.pending();
        lose(id, pending == 0 ? "closed by the client" : "closed by the client in the middle of a frame");
    } else if (errno != EAGAIN && errno != EINTR) {
        lose(id, std::strerror(errno));
    }
}

/// Hands over whole frames, as long as the handler has not disconnected the client.
void Server::deliver(ClientId id)
{
    try {
        for (auto found = connections.find(id); found != connections.end(); found = connections.find(id)) {
            std::optional<Frame> const frame = found->second.reader.next();
            if (!frame) {
                return;
            }
            handler.onFrame(id, *frame);
        }
    } catch (PeerError const& error) {
        lose(id, error.what());
    }
}

void Server::flush(ClientId id)
{
    Client& client = connections.at(id);
    while (!client.unsent.empty()) {
        ssize_t const count = ::send(client.socket.get(), client.unsent.data(), client.unsent.size(), MSG_NOSIGNAL);
        if (count < 0) {
            break;
        }
        client.unsent.erase(client.unsent.begin(), client.unsent.begin() + count);
    }
    // A client that is gone is noticed by the next receive.
    bool const wait = !client.unsent.empty() && (errno == EAGAIN || errno == EINTR);
    if (wait) {
        loop.watchWritable(client.socket.get(), [this, id] { flush(id); });
    } else {
        client.unsent.clear();
        loop.watchWritable(client.socket.get(), nullptr);
    }
}

void Server::lose(ClientId id, std::string const& reason)
{
    disconnect(id);
    handler.onDisconnected(id, reason);
}

} // namespace zelobox
