/// @file
/// The messenger's server: many clients, one thread.
#ifndef ZELO_ZELOBOX_SERVER_H
#define ZELO_ZELOBOX_SERVER_H

#include <sys/types.h>

#include <climits>
#include <cstdint>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "zelobox/base/EventLoop.h"
#include "zelobox/base/PeriodicTimer.h"
#include "zelobox/protocol/FrameReader.h"
#include "zelobox/protocol/Peer.h"

namespace zelobox {

/// Counts from 1, in the order of the connects.
using ClientId = unsigned;

/// The process that made a connection, when it did.
struct ClientProcess {
    pid_t id = 0; ///< 0 if it is not known, as one of another container
    std::string name;
};

/// Accepts clients, cuts what they send into frames, and writes what is to be sent as fast as they read it.
///
/// Everything happens in turns of the loop, which must live longer.
class Server {
public:
    /// How clients are treated; well by default.
    struct Faults {
        bool stalls = false; ///< neither reads nor sends
        bool isSlow = false; ///< a byte every 5 ms
        bool splits = false; ///< every byte in a write of its own
        bool blocks = false; ///< waits for a client that does not read
        bool wantsWholeFrames = false;
        bool diesOnVanish = false;
        bool diesOnGarbage = false;
        bool diesOnLie = false;
        size_t mostClients = SIZE_MAX; ///< at a time
        ClientId lastClient = UINT_MAX;
    };

    /// Thrown out of a turn of the loop by a server whose faults are to die.
    class Died : public std::runtime_error {
    public:
        using std::runtime_error::runtime_error;
    };

    class Handler {
    public:
        virtual void onConnected(ClientId client) = 0;
        virtual void onFrame(ClientId client, Frame const& frame) = 0;
        /// Not called for what disconnect() and the destructor do.
        virtual void onDisconnected(ClientId client, std::string const& reason) = 0;

    protected:
        ~Handler() = default;
    };

    /// @throw PeerError when another server listens there or the socket cannot be made
    Server(EventLoop& eventLoop, Handler& eventHandler, std::string const& path);
    ~Server();
    Server(Server const&) = delete;
    Server& operator=(Server const&) = delete;

    /// Sends, or keeps what the client does not read yet. Does nothing for a client that is gone.
    void send(ClientId id, std::vector<char> const& bytes);
    /// @return whether nothing is kept for the client any more
    bool hasTakenAll(ClientId id) const;
    void disconnect(ClientId id);
    std::vector<ClientId> clients() const;
    ClientProcess process(ClientId id) const;

    void setFaults(Faults const& next);

private:
    struct Client {
        Descriptor socket;
        FrameReader reader;
        std::vector<char> unsent;
    };

    void accept();
    /// @return false if there is nothing more now
    bool receive(ClientId id);
    void deliver(ClientId id);
    void flush(ClientId id);
    /// @return false if the client takes no more now
    bool sendSome(Client& client, size_t most);
    void sendByteToEach();
    void watch(ClientId id);
    void noticeIncomplete(ClientId id, FrameReader const& reader);
    void lose(ClientId id, std::string const& reason);

    EventLoop& loop;
    Handler& handler;
    Listener listener;
    std::map<ClientId, Client> connections;
    ClientId lastId = 0;
    Faults faults;
    PeriodicTimer ticker; ///< of a slow server
};

} // namespace zelobox

#endif
