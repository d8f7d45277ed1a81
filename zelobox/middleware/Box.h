/// @file
/// The middleware: what it knows, and how it answers.
#ifndef ZELO_ZELOBOX_BOX_H
#define ZELO_ZELOBOX_BOX_H

#include <map>
#include <set>
#include <string>
#include <vector>

#include "src/ipc/IPCBrowserConfig.h"
#include "zelobox/middleware/Misbehaviour.h"
#include "zelobox/middleware/Server.h"
#include "zelobox/protocol/Trace.h"

namespace zelobox {

/// What the middleware believes about the box.
struct BoxState {
    IPCBrowserConfig config;
    uint32_t volume = 0;
    bool muted = false;
    bool paused = false;
    uint16_t x = 0;
    uint16_t y = 0;
    uint16_t width = 0; ///< width and height 0: the whole screen
    uint16_t height = 0;
    std::string windowMode;
    bool applicationHasControl = true; ///< until it asks for the previous controller
};

Json jsonOf(BoxState const& state);

/// A middleware with its server. Everything happens in turns of the loop.
class Box : private Server::Handler {
public:
    /// Sees all traffic, in order.
    class Observer {
    public:
        virtual void onTraffic(TraceRecord const& record) = 0;

    protected:
        ~Observer() = default;
    };

    /// @throw PeerError when another server listens there or the socket cannot be made
    Box(EventLoop& loop, std::string const& socketPath, IPCBrowserConfig const& config);

    /// @param observer  not owned; until the box is destroyed
    void addObserver(Observer& observer) { observers.push_back(&observer); }

    /// Whether configuration requests are answered; on at first.
    void setAnswering(bool on) { answering = on; }

    /// Sends @p frame to the clients that have subscribed to its type, and takes over into the state what it says.
    ///
    /// @return how many clients that were
    size_t send(Frame const& frame);
    /// Sends @p frame to every client, subscribed or not.
    size_t sendToAll(Frame const& frame);
    /// Sends bytes that are no frame to every client.
    void sendRaw(std::vector<char> const& bytes);
    /// Closes every connection.
    void dropClients();

    /// Does @p what now to every client, or, if it lasts, until None.
    void misbehave(Misbehaviour what);
    /// From now on: what lasts begins at once; what is done once is done to each client whose configuration request has
    /// been answered, each time.
    void misbehaveAlways(Misbehaviour what);
    /// @return those that last, and are lasting
    Misbehaviours const& misbehaviours() const { return lasting; }

    BoxState const& state() const { return boxState; }
    std::vector<ClientId> clients() const { return server.clients(); }

private:
    void onConnected(ClientId client) override;
    void onFrame(ClientId client, Frame const& frame) override;
    void onDisconnected(ClientId client, std::string const& reason) override;

    struct Client {
        std::set<uint32_t> types; ///< that it has subscribed to
        bool hasList = false;
        bool hasConfig = false;
    };

    bool is(Misbehaviour what) const { return lasting.count(what) != 0; }
    void subscribe(ClientId id, Frame const& list);
    void answer(ClientId id);
    void misbehaveTo(ClientId client, Misbehaviour what);
    void sendRawTo(ClientId client, std::vector<char> const& bytes);
    void drop(ClientId client, std::string const& reason);
    void sendTo(std::vector<ClientId> const& receivers, Frame const& frame);
    void takeOver(Frame const& frame);
    void tell(TraceRecord record);

    std::vector<Observer*> observers;
    BoxState boxState;
    bool answering = true;
    Misbehaviours lasting;
    Misbehaviours habits; ///< done once after each answer
    std::map<ClientId, Client> connected;
    Server server;
};

} // namespace zelobox

#endif
