#include "tests/simulation/Middleware.h"

#include <algorithm>

#include "tests/simulation/Trace.h"
#include "tests/simulation/Wire.h"
#include "tests/simulation/World.h"

namespace simulation {

namespace {

uint32_t choose(uint32_t options)
{
    return world().decisions.choose(Kind::Content, options);
}

int64_t chooseTime(int64_t limit)
{
    return limit <= 0 ? 0 : choose(static_cast<uint32_t>(std::min<int64_t>(limit, 60000)));
}

/// One connection from the middleware's side.
class Link {
public:
    Link(std::shared_ptr<Endpoint> linkEnd, Temper const& linkTemper, unsigned const& serverGeneration)
        : end(std::move(linkEnd)), temper(linkTemper), generation(serverGeneration), bornIn(serverGeneration),
          actionsLeft(linkTemper.actions), reads(linkTemper.reads)
    {
        born = now();
        nextAction = actionsLeft > 0 ? now() + chooseTime(temper.actionGap) : never;
        if (!reads) {
            world().conduct.peerPauses(*end);
        }
    }

    void serve()
    {
        world().conduct.peerServes(*end);
        for (unsigned i = 0; i < temper.flood; ++i) {
            sendConfiguration();
        }
        while (!isOver()) {
            world().scheduler.minorStep();
            bool const moved = flush() | read() | act();
            if (!moved && !isOver()) {
                world().scheduler.block(end.get(), nextTime());
            }
        }
        drop();
    }

private:
    static int64_t now() { return world().scheduler.now(); }

    bool isOver() const
    {
        // A storm has an end, or the run would not come to its own.
        bool const isExpired = temper.dropAfter != 0 && end->connection < 100 && now() >= born + temper.dropAfter;
        return over || generation != bornIn || isExpired || (reads && end->in.size() == 0 && end->atEnd()) ||
               (!reads && end->peer->closed);
    }

    int64_t nextTime() const
    {
        int64_t next = std::min(nextAction, answerAt);
        next = std::min(next, reads ? never : readsAgain);
        return temper.dropAfter == 0 || end->connection >= 100 ? next : std::min(next, born + temper.dropAfter);
    }

    void drop()
    {
        TRACE("closes connection %d", end->connection);
        world().conduct.peerEnds(*end, false);
        Sockets::closeEnd(*end);
    }

    bool flush()
    {
        size_t const part = std::min(out.size(), end->room());
        if (part == 0 || end->writeEnded || end->peer->closed) {
            return false;
        }
        end->peer->in.put(out.data(), part);
        out.erase(0, part);
        world().scheduler.wake(end->peer.get());
        return true;
    }

    bool read()
    {
        if (!reads && now() >= readsAgain) {
            reads = true;
        }
        size_t const size = end->in.size();
        if (!reads || size == 0) {
            return false;
        }
        std::string bytes(size, '\0');
        end->in.take(&bytes[0], size);
        world().scheduler.wake(end->peer.get());
        unread += bytes;
        Frame frame;
        while (takeFrame(unread, frame)) {
            if (frame.type == 23 && temper.answers) {
                answerAt = now() + chooseTime(temper.answerDelay);
            }
        }
        return true;
    }

    bool act()
    {
        if (answerAt <= now()) {
            answerAt = never;
            sendConfiguration();
            if (end->connection <= static_cast<int>(temper.deafConnections)) {
                stopReading(never);
            }
            return true;
        }
        if (nextAction > now()) {
            return false;
        }
        --actionsLeft;
        nextAction = actionsLeft > 0 ? now() + 1 + chooseTime(temper.actionGap) : never;
        takeAction(choose(12));
        return true;
    }

    void takeAction(uint32_t action)
    {
        switch (action) {
        case 0:
            return;
        case 1:
        case 2:
            return send({1, 26, bigEndian(choose(80) | (keys++ & 0xFF) << 16, 4)});
        case 3:
            return send({1, 39, bigEndian(choose(101), 4)});
        case 4:
            return send({1, 58, bigEndian(choose(2), 4)});
        case 5:
            return send({4, 49, bigEndian(7, 4) + "onpause" + '\0'});
        case 6:
            return sendConfiguration();
        case 7:
            return send({0, 40, std::string(choose(3000), 'x')});
        case 8:
        case 9:
            return temper.lies ? lie() : send({3, 8, bigEndian(1, 4) + bigEndian(2, 4)});
        case 10:
            over = temper.drops;
            return;
        default:
            return pauseReading();
        }
    }

    void pauseReading()
    {
        if (temper.pauses) {
            stopReading(now() + 1 + chooseTime(600000) * 10);
        }
    }

    void stopReading(int64_t until)
    {
        TRACE("stops reading");
        world().conduct.peerPauses(*end);
        reads = false;
        readsAgain = until;
    }

    void lie()
    {
        world().conduct.peerLies(*end);
        switch (choose(6)) {
        case 0:
            return sendBytes("n");
        case 1:
            return sendBytes(std::string("m\x01\x00\x1A", 4) + bigEndian(0xFFFFFFFFU - choose(2) * 0x80000000U, 4));
        case 2:
            return sendBytes(std::string("m\x00\x00\x18", 4) + bigEndian(3000000, 4) + "cut short");
        case 3:
            return send({0, 24, std::string(choose(40), '\x01')});
        case 4:
            return send(
                {static_cast<uint8_t>(choose(8)), static_cast<uint16_t>(choose(64)), std::string(choose(9), 'y')});
        default:
            end->writeEnded = true;
            world().scheduler.wake(end->peer.get());
            return;
        }
    }

    void send(Frame const& frame) { sendBytes(encode(frame)); }

    void sendConfiguration()
    {
        world().conduct.configurationSent(*end);
        send({0, 24, configuration(choose(2) == 0 ? "de" : "a language that is longer than any", "http://portal")});
    }

    void sendBytes(std::string const& bytes)
    {
        TRACE("sends %zu bytes on connection %d", bytes.size(), end->connection);
        out += bytes;
        flush();
    }

    std::shared_ptr<Endpoint> const end;
    Temper const& temper;
    unsigned const& generation;
    unsigned const bornIn;
    unsigned actionsLeft;
    bool reads;
    bool over = false;
    int64_t born;
    int64_t nextAction;
    int64_t answerAt = never;
    int64_t readsAgain = never;
    uint32_t keys = 0;
    std::string out;
    std::string unread;
};

struct Server {
    Temper temper;
    unsigned generation = 0; ///< of its life; a restart begins the next one
    std::deque<std::shared_ptr<Endpoint>> links;
};

void acceptUntil(std::shared_ptr<Server> const& server, int64_t end)
{
    Scheduler& scheduler = world().scheduler;
    Listener& listener = world().sockets.listener;
    while (scheduler.now() < end) {
        scheduler.minorStep();
        if (listener.pending.empty()) {
            scheduler.block(&listener, end);
            continue;
        }
        if (server->temper.acceptDelay > 0) {
            scheduler.sleepUntil(scheduler.now() + chooseTime(server->temper.acceptDelay));
        }
        std::shared_ptr<Endpoint> const accepted = listener.pending.front();
        listener.pending.pop_front();
        scheduler.wake(&listener);
        TRACE("accepts connection %d", accepted->connection);
        if (server->temper.dropAfterAccept > 0) {
            --server->temper.dropAfterAccept;
            world().conduct.peerEnds(*accepted, false);
            Sockets::closeEnd(*accepted);
            continue;
        }
        server->links.push_back(accepted);
        scheduler.spawn(Role::Peer, "link-" + std::to_string(accepted->connection),
                        [server, accepted] { Link(accepted, server->temper, server->generation).serve(); });
    }
}

void goDown(Server& server)
{
    Scheduler& scheduler = world().scheduler;
    Listener& listener = world().sockets.listener;
    TRACE("goes down");
    listener.file = choose(2) == 0 ? Listener::File::Missing : Listener::File::Stale;
    ++server.generation;
    for (std::shared_ptr<Endpoint> const& link : server.links) {
        scheduler.wake(link.get());
    }
    server.links.clear();
    for (std::shared_ptr<Endpoint> const& waiting : listener.pending) {
        world().conduct.peerEnds(*waiting, false);
        Sockets::closeEnd(*waiting);
    }
    listener.pending.clear();
    scheduler.wake(&listener);
    scheduler.sleepUntil(scheduler.now() + 1 + chooseTime(1000) * server.temper.downtime / 1000);
}

void serve(std::shared_ptr<Server> const& server)
{
    Scheduler& scheduler = world().scheduler;
    Listener& listener = world().sockets.listener;
    if (server->temper.firstListens > 0) {
        scheduler.sleepUntil(server->temper.firstListens);
    }
    for (unsigned restarts = server->temper.restarts;; --restarts) {
        listener.backlog = server->temper.backlog;
        listener.capacity = server->temper.capacity;
        listener.file = Listener::File::Listening;
        TRACE("listens");
        bool const isLast = restarts == 0;
        acceptUntil(server, isLast ? never : scheduler.now() + 1 + chooseTime(1000) * server->temper.uptime / 1000);
        goDown(*server);
    }
}

} // namespace

void startMiddleware(Temper const& temper)
{
    std::shared_ptr<Server> const server = std::make_shared<Server>();
    server->temper = temper;
    world().scheduler.spawn(Role::Peer, "middleware", [server] { serve(server); });
    if (temper.firstListens == 0) {
        world().sockets.listener.file = Listener::File::Listening;
        world().sockets.listener.backlog = temper.backlog;
        world().sockets.listener.capacity = temper.capacity;
    }
}

Temper chooseTemper()
{
    Temper temper;
    temper.answers = choose(16) != 1;
    temper.answerDelay = choose(4) == 1 ? 60000 : 50;
    temper.actions = choose(3) == 0 ? 0 : choose(12);
    temper.actionGap = choose(2) == 0 ? 300 : 60000;
    temper.lies = choose(4) == 1;
    temper.drops = choose(4) == 1;
    temper.pauses = choose(6) == 1;
    temper.dropAfterAccept = choose(8) == 1 ? choose(40) : 0;
    temper.dropAfter = choose(8) == 1 ? 1 + chooseTime(60000) : 0;
    temper.flood = choose(12) == 1 ? choose(40) : 0;
    temper.restarts = choose(6) == 1 ? 1 + choose(4) : 0;
    temper.firstListens = choose(6) == 1 ? chooseTime(60000) * 100 : 0;
    temper.uptime = 1000 + chooseTime(60000) * 10;
    temper.downtime = choose(4) == 1 ? int64_t{3600} * 1000000 : 3000000;
    temper.backlog = 1 + choose(4);
    uint32_t const sizes[] = {212992, 65536, 4096, 100, 9};
    temper.capacity = sizes[choose(5)];
    temper.acceptDelay = choose(8) == 1 ? 60000 : 0;
    return temper;
}

} // namespace simulation
