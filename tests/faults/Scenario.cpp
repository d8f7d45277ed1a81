#include "tests/faults/Scenario.h"

#include <signal.h>
#include <stdio.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <functional>
#include <map>
#include <thread>

#include "cobalt/CobaltManager.h"
#include "cobalt/ZeloCobalt.h"
#include "testkit/ConfigPayload.h"
#include "testkit/HostStandIn.h"
#include "testkit/Middleware.h"
#include "testkit/Process.h"

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::seconds;
using zelobox::Milliseconds;

std::atomic<int> keys{0};

void onKey(SbKey, uint8_t)
{
    ++keys;
}

std::vector<char> configuration()
{
    return configOfText("a text that needs memory of its own").bytes();
}

/// Answers every client, as often as it has to come back.
class ReturningClients {
public:
    /// Serves until @p reached holds. @return what was not reached in time
    std::string serveUntil(char const* goal, std::function<bool()> const& reached)
    {
        auto const end = Clock::now() + seconds(20);
        while (!reached()) {
            if (Clock::now() > end) {
                return std::string("not reached: ") + goal + "\n";
            }
            try {
                serveOnce();
            } catch (zelobox::PeerTimeout const&) {
            } catch (zelobox::PeerError const&) {
                drop();
            }
        }
        return "";
    }

    void drop()
    {
        middleware.close();
        connected = false;
        configured = false;
    }

    /// Sends one key on every connection that has got its configuration.
    void sendKeys()
    {
        keysWanted = true;
        keySent = false;
    }

    size_t seen(uint16_t type) { return received[type]; }
    size_t connections() const { return accepted; }
    /// Whether the latest connection has asked for its configuration and got it.
    bool isConfigured() const { return configured; }

private:
    void serveOnce()
    {
        if (!connected) {
            keySent = false;
            middleware.accept(Milliseconds(5));
            connected = true;
            ++accepted;
        }
        if (configured && keysWanted && !keySent) {
            keySent = true;
            middleware.sendKey(1);
        }
        if (!middleware.isSilentFor(Milliseconds(1))) {
            answer(middleware.receive());
        }
    }

    void answer(zelobox::Frame const& frame)
    {
        ++received[frame.type];
        if (frame.type == IPC_CONFIG_REQUEST) {
            middleware.send({IPC_PAYLOAD_RAW, IPC_BROWSER_CONFIG, configuration()});
            configured = true;
        }
    }

    Middleware middleware;
    bool connected = false;
    std::map<uint16_t, size_t> received;
    size_t accepted = 0;
    bool configured = false;
    bool keysWanted = false;
    bool keySent = false;
};

/// Calls into the library until memory suffices for the call.
void insist(std::function<void()> const& call)
{
    for (;;) {
        try {
            faults::Watched const watched;
            return call();
        } catch (std::bad_alloc const&) {
        }
    }
}

std::string startApp(ReturningClients& middleware)
{
    std::atomic<bool> started{false};
    std::thread host([&started] {
        insist([] { ZeloStartApp({onKey, nullptr, nullptr, nullptr}); });
        started = true;
    });
    std::string const complaint = middleware.serveUntil("the start returns", [&started] { return started.load(); });
    if (complaint.empty()) {
        host.join();
    } else {
        host.detach(); // the process ends with the complaint
    }
    return complaint;
}

/// A request that is lost with its connection is made again on the next one, once its handshake shows that it takes
/// requests.
std::string makeRequests(ReturningClients& middleware)
{
    size_t connection = 0;
    return middleware.serveUntil("the requests arrive", [&] {
        if (middleware.isConfigured() && middleware.connections() != connection) {
            connection = middleware.connections();
            insist([] { ZeloSetVideoWindow(1, 2, 3, 4); });
            insist([] { ZeloRequestPreviousController(); });
        }
        return middleware.seen(IPC_PREVIOUS_CONTROLLER) != 0;
    });
}

std::string keyGetsThrough(ReturningClients& middleware, char const* goal)
{
    int const before = keys;
    middleware.sendKeys();
    return middleware.serveUntil(goal, [before] { return keys > before; });
}

std::string live(size_t& connections)
{
    ReturningClients middleware;
    std::string complaint = startApp(middleware);
    if (complaint.empty()) {
        complaint += keyGetsThrough(middleware, "a key gets through");
        complaint += makeRequests(middleware);
        middleware.drop();
        complaint += keyGetsThrough(middleware, "a key gets through after the drop");
        auto const begin = Clock::now();
        insist([] { ZeloStopApp(); });
        if (Clock::now() - begin > seconds(5)) {
            complaint += "the stop took longer than 5 s\n";
        }
    }
    connections = middleware.connections();
    return complaint;
}

/// @return the threads of the process, counted when a sanitizer has made those that it needs beside the first other one
int threadsAtRest()
{
    std::string entry;
    std::thread([&entry] { entry = "/proc/self/task/" + std::to_string(syscall(SYS_gettid)); }).join();
    while (access(entry.c_str(), F_OK) == 0) { // the entry of a joined thread goes late
        std::this_thread::yield();
    }
    return threadCount();
}

std::string liveAndCompare(faults::Fault const& fault, size_t& connections)
{
    int const threads = threadsAtRest();
    int const descriptors = openDescriptors();
    long const blocks = faults::blocksInUse();
    faults::arm(fault);
    std::string complaint = live(connections);
    faults::disarm();
    auto const end = Clock::now() + seconds(5);
    while (threadCount() > threads && Clock::now() < end) {
        std::this_thread::yield();
    }
    {
        CobaltManager::Config empty; // takes the memory of the texts along
        std::swap(CobaltManager::_config, empty);
    }
    complaint += threadCount() > threads ? "threads left\n" : "";
    complaint += openDescriptors() != descriptors ? "descriptors left\n" : "";
    long const left = faults::blocksInUse() - blocks - (complaint.capacity() > 15 ? 1 : 0);
    return left != 0 ? complaint + std::to_string(left) + " blocks left\n" : complaint;
}

[[noreturn]] void child(faults::Fault const& fault, int output)
{
    alarm(60);
    dup2(output, STDOUT_FILENO);
    dup2(output, STDERR_FILENO);
    faults::prepare();
    standin::setLogging(standin::Logging::Formatted);
    standin::setClockRate(100);
    size_t connections = 0;
    std::string const complaint = liveAndCompare(fault, connections);
    printf("%s%d %zu %zu", complaint.c_str(), faults::hasStruck() ? 1 : 0, faults::calls(fault.call), connections);
    fflush(stdout);
    _exit(complaint.empty() ? 0 : 1);
}

std::string readAll(int fd)
{
    std::string text;
    char buffer[4096];
    for (ssize_t count; (count = read(fd, buffer, sizeof buffer)) > 0;) {
        text.append(buffer, static_cast<size_t>(count));
    }
    return text;
}

Outcome judge(int status, std::string const& output)
{
    Outcome outcome;
    if (WIFSIGNALED(status)) {
        bool const reported = output.find("ret=11 on inc/private/pthread_helper:303") != std::string::npos;
        outcome.killed = WTERMSIG(status) == SIGKILL && reported;
        outcome.struck = outcome.killed;
        outcome.calls = outcome.killed ? 1 : 0;
        outcome.complaints = outcome.killed ? "" : "ended by signal " + std::to_string(WTERMSIG(status)) + output;
        return outcome;
    }
    size_t const lastLine = output.rfind('\n') + 1; // npos + 1 is 0
    int struck = 0;
    if (sscanf(output.c_str() + lastLine, "%d %zu %zu", &struck, &outcome.calls, &outcome.connections) != 3) {
        outcome.complaints = "no result: " + output;
    }
    outcome.struck = struck != 0;
    outcome.complaints += output.substr(0, lastLine);
    return outcome;
}

} // namespace

Outcome runScenario(faults::Fault const& fault)
{
    int ends[2];
    if (pipe(ends) != 0) {
        return {false, 0, 0, false, "no pipe"};
    }
    fflush(stdout);
    pid_t const pid = fork();
    if (pid == 0) {
        close(ends[0]);
        child(fault, ends[1]);
    }
    close(ends[1]);
    std::string const output = readAll(ends[0]);
    close(ends[0]);
    int status = 0;
    waitpid(pid, &status, 0);
    return judge(status, output);
}
