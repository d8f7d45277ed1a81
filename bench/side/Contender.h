/// @file
/// A contender of the side-by-side measurements: both ends of one link between two processes.
#ifndef ZELO_BENCH_CONTENDER_H
#define ZELO_BENCH_CONTENDER_H

#include <cstddef>
#include <functional>
#include <memory>

/// Called for each message that has arrived in the host, on any one thread.
using Received = std::function<void()>;

/// The host's end, in a process of its own.
class Host {
public:
    virtual ~Host() = default;
    /// Returns when the link is up. @param received null where nothing comes in
    virtual void start(Received received) = 0;
    /// Sends a number of 4 bytes. Any thread.
    virtual void push() = 0;
};

/// The middleware's end. One thread.
class Peer {
public:
    virtual ~Peer() = default;
    /// Returns when the link is up.
    virtual void start() = 0;
    /// Sends messages of this size as fast as it can. @return how many
    virtual size_t sendMany(size_t size) = 0;
    /// Sends one number of 4 bytes. @param apart header and payload in a call each, where there is the choice
    virtual void sendOne(bool apart) = 0;
    /// Waits for one message of the host.
    virtual void receive() = 0;
};

/// What a workload asks of a contender beyond a link.
enum class Handover {
    None,   ///< whoever pushes may write
    Thread, ///< another thread writes
};

struct Contender {
    char const* name;
    /// Messages that take about 150 ms at full speed.
    size_t outboundMessages;
    /// Otherwise one thread pushes where several are asked for.
    bool severalPushers;
    std::unique_ptr<Host> (*makeHost)(Handover);
    std::unique_ptr<Peer> (*makePeer)();
    /// Called before the process is doubled; may be null.
    void (*prepare)();
};

/// Each program defines one.
extern Contender const contender;

/// Ends the process with @p what and the error number unless @p good. Waits to be ended if the run is over.
void require(bool good, char const* what);
/// From now on the end of a link is no failure.
void setRunOver();

#endif
