// Sends frames through the library in a host process, so that what each costs can be counted: under callgrind the
// instructions of each workload are a dump of their own; allocations are printed as JSON.
//
//     frames_count [FRAMES]
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>
#include <valgrind/callgrind.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>

#include "bench/gate/Interposed.h"
#include "cobalt/ZeloCobalt.h"
#include "testkit/HostStandIn.h"
#include "testkit/Middleware.h"

namespace {

unsigned const burst = 100;

std::atomic<unsigned> keys{0};

void onKey(SbKey, uint8_t)
{
    keys.fetch_add(1, std::memory_order_relaxed);
}

struct Order {
    enum Kind : unsigned { SendKeys, ReadRequests } kind;
    unsigned count;
};

/// Keys in writes of a burst, each of which the kernel keeps in one piece.
void sendKeys(zelobox::Connection& client, unsigned count)
{
    std::vector<char> const key = bytesOf(zelobox::Frame{IPC_PAYLOAD_UINT32, IPC_REMOTE_KEY, {0, 1, 0, 42}});
    std::vector<char> bytes;
    for (unsigned i = 0; i < count; ++i) {
        bytes.insert(bytes.end(), key.begin(), key.end());
        if ((i + 1) % burst == 0 || i + 1 == count) {
            client.sendBytes(bytes);
            bytes.clear();
        }
    }
}

/// The middleware's process. It answers an order when it is done.
[[noreturn]] void serve(Middleware& middleware, int orders)
{
    middleware.acceptClient(zelobox::Milliseconds(60000));
    middleware.configure();
    zelobox::Connection& client = middleware.link();
    Order order;
    while (read(orders, &order, sizeof order) == static_cast<ssize_t>(sizeof order)) {
        if (order.kind == Order::SendKeys) {
            sendKeys(client, order.count);
        } else {
            client.receiveBytes(size_t{12} * order.count, zelobox::Milliseconds(60000));
        }
        static_cast<void>(!write(orders, "", 1));
    }
    _exit(0);
}

class ObedientMiddleware {
public:
    ObedientMiddleware()
    {
        int ends[2];
        if (socketpair(AF_UNIX, SOCK_STREAM, 0, ends) != 0) {
            std::abort();
        }
        process = fork();
        if (process == 0) {
            close(ends[0]);
            serve(served, ends[1]);
        }
        close(ends[1]);
        orders = ends[0];
    }

    ~ObedientMiddleware()
    {
        close(orders);
        waitpid(process, nullptr, 0);
    }

    void begin(Order const& order) const
    {
        if (send(orders, &order, sizeof order, 0) < 0) {
            giveUp();
        }
    }

    void awaitEnd() const
    {
        char done;
        if (recv(orders, &done, 1, 0) != 1) {
            giveUp();
        }
    }

    [[noreturn]] static void giveUp()
    {
        std::fprintf(stderr, "frames_count: the middleware gave up\n");
        std::exit(2);
    }

private:
    Middleware served;
    pid_t process;
    int orders;
};

void request()
{
    ZeloRequestPreviousController();
}

void receiveKeys(ObedientMiddleware const& middleware, unsigned count)
{
    unsigned const before = keys;
    middleware.begin({Order::SendKeys, count});
    middleware.awaitEnd();
    interposed::waitUntil([before, count] { return keys == before + count; });
}

/// Waits until the sender has nothing left to do.
template <typename Requests> void untilSent(Requests requests)
{
    uint64_t const waits = interposed::timedWaits();
    requests();
    interposed::waitUntil([waits] { return interposed::timedWaits() > waits; });
}

/// All requests of a burst but the first find the sender at workload.
void sendBursts(ObedientMiddleware const& middleware, unsigned count)
{
    middleware.begin({Order::ReadRequests, count});
    for (unsigned sent = 0; sent < count; sent += burst) {
        untilSent([] {
            interposed::holdWriter(request);
            for (unsigned i = 1; i < burst; ++i) {
                request();
            }
            interposed::releaseWriter();
        });
    }
    middleware.awaitEnd();
}

/// Every request finds the sender waiting.
void sendLone(ObedientMiddleware const& middleware, unsigned count)
{
    middleware.begin({Order::ReadRequests, count});
    for (unsigned i = 0; i < count; ++i) {
        untilSent(request);
    }
    middleware.awaitEnd();
}

struct Workload {
    char const* name;
    void (*run)(ObedientMiddleware const&, unsigned);
    unsigned share; ///< of the frames: one in so many
};

void measure(Workload const& workload, ObedientMiddleware const& middleware, unsigned frames, char const* separator)
{
    unsigned const count = frames / workload.share;
    workload.run(middleware, 3 * burst); // what happens once only: symbols, the allocator's caches
    uint64_t const allocations = interposed::allocations();
    CALLGRIND_ZERO_STATS;
    workload.run(middleware, count);
    CALLGRIND_DUMP_STATS_AT(workload.name);
    std::printf("%s\"%s\": {\"frames\": %u, \"allocations\": %llu}", separator, workload.name, count,
                static_cast<unsigned long long>(interposed::allocations() - allocations));
}

} // namespace

int main(int argc, char** argv)
{
    unsigned const frames = argc > 1 ? static_cast<unsigned>(std::atoi(argv[1])) : 4000;
    static Workload const workloads[] = {
        {"inbound", receiveKeys, 1},
        {"outbound", sendBursts, 1},
        {"lone request", sendLone, 10},
    };
    standin::setLogging(standin::Logging::Dropped);
    interposed::takeOver();
    std::setvbuf(stdout, nullptr, _IOFBF, 65536); // its buffer would be an allocation among those that are counted
    ObedientMiddleware const middleware;
    ZeloCallbacks callbacks = {};
    callbacks.onKey = onKey;
    ZeloStartApp(callbacks);
    char const* separator = "{";
    for (Workload const& workload : workloads) {
        measure(workload, middleware, frames, separator);
        separator = ", ";
    }
    std::printf("}\n");
    ZeloStopApp();
    return 0;
}
