/// @file
/// The simulated middleware: its state, its answers and its subscriptions.
#ifndef ZELO_ZELOBOX_MIDDLEWARE_H
#define ZELO_ZELOBOX_MIDDLEWARE_H

#include <map>
#include <set>
#include <string>
#include <vector>

#include "zelobox/middleware/FaultModes.h"
#include "zelobox/middleware/MiddlewareState.h"
#include "zelobox/middleware/Server.h"
#include "zelobox/protocol/Trace.h"

namespace zelobox {

/// A middleware with its server. Everything happens in turns of the loop.
class Middleware final : private Server::Handler {
public:
    /// Sees all traffic, in order.
    class Observer {
    public:
        /// @param record  a frame is decoded once for all observers: its fields are gone after the call
        virtual void onTraffic(TraceRecord const& record) = 0;

    protected:
        ~Observer() = default;
    };

    /// @throw PeerError when another server listens there or the socket cannot be made
    Middleware(EventLoop& loop, std::string const& socketPath, IPCBrowserConfig const& config);

    /// @param observer  not owned; until the middleware is destroyed
    void addObserver(Observer& observer) { observers.push_back(&observer); }

    /// Whether configuration requests are answered; on at first.
    void setAnswering(bool on) { answering = on; }

    /// Whether a newcomer is told, behind its first configuration, what is known of volume, mute and pause; on at
    /// first.
    void setBriefing(bool on) { briefing = on; }

    /// Shows the observers what another middleware has seen, at its time, and takes over into the state what it says.
    void follow(TraceRecord const& record);

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
    void apply(FaultMode what);
    /// From now on: what lasts begins at once; what is done once is done to each client whose configuration request has
    /// been answered, each time.
    void applyAlways(FaultMode what);
    /// @return those that last, and are lasting
    FaultModes const& faultModes() const { return lasting; }

    MiddlewareState const& state() const { return current; }
    std::vector<ClientId> clients() const { return server.clients(); }
    ClientProcess process(ClientId client) const { return server.process(client); }
    /// @return how many of them have not taken all that was sent to them
    size_t waitingClients() const;

private:
    void onConnected(ClientId client) override;
    void onFrame(ClientId client, Frame const& frame) override;
    void onDisconnected(ClientId client, std::string const& reason) override;

    struct Client {
        std::set<uint32_t> types; ///< that it has subscribed to
        bool hasList = false;
        bool hasConfig = false;
    };

    bool is(FaultMode what) const { return lasting.count(what) != 0; }
    void subscribe(ClientId id, Frame const& list);
    void answer(ClientId id);
    void brief(ClientId id);
    void applyTo(ClientId client, FaultMode what);
    void sendRawTo(ClientId client, std::vector<char> const& bytes);
    void drop(ClientId client, std::string const& reason);
    void sendTo(std::vector<ClientId> const& receivers, Frame const& frame);
    void takeOver(Frame const& frame);
    void tell(TraceRecord record);
    void notify(TraceRecord& record);

    std::vector<Observer*> observers;
    MiddlewareState current;
    bool knowsVolume = false; ///< it has been sent since the start
    bool knowsMute = false;
    bool answering = true;
    bool briefing = true;
    FaultModes lasting;
    FaultModes repeated; ///< done once after each answer
    std::map<ClientId, Client> connected;
    Server server;
};

} // namespace zelobox

#endif
