#include "tests/faults/Scenario.h"

#include <dirent.h>
#include <signal.h>
#include <stdio.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <thread>

#include "cobalt/CobaltManager.h"
#include "cobalt/ZeloCobalt.h"
#include "testkit/QuietHost.h"
#include "zelobox/protocol/Peer.h"

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::seconds;
using zelobox::Milliseconds;

std::atomic<int> keys{0};

void onKey(SbKey, uint8_t)
{
    ++keys;
}

int entriesOf(char const* directory)
{
    int count = 0;
    DIR* const entries = opendir(directory);
    while (readdir(entries) != nullptr) {
        ++count;
    }
    closedir(entries);
    return count;
}

std::vector<char> configuration()
{
    std::vector<char> payload(16, 1);
    for (int text = 0; text < 5; ++text) {
        std::string const value = "a text that needs memory of its own";
        payload.push_back(0);
        payload.push_back(static_cast<char>(value.size() + 1));
        payload.insert(payload.end(), value.begin(), value.end());
        payload.push_back(0);
        payload.insert(payload.end(), text == 3 ? 1 : 0, 7);
    }
    return payload;
}

/// Answers every client, as often as it has to come back.
class Middleware {
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
        connection.reset();
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
        if (!connection) {
            keySent = false;
            connection = std::make_unique<zelobox::Connection>(listener.accept(Milliseconds(5)));
            ++accepted;
        }
        if (configured && keysWanted && !keySent) {
            keySent = true;
            connection->send(zelobox::frameOf(IPCMessageUnsignedInt(IPC_REMOTE_KEY, 1)));
        }
        if (!connection->isSilentFor(Milliseconds(1))) {
            answer(connection->receive());
        }
    }

    void answer(zelobox::Frame const& frame)
    {
        ++received[frame.type];
        if (frame.type == IPC_CONFIG_REQUEST) {
            connection->send({IPC_PAYLOAD_RAW, IPC_BROWSER_CONFIG, configuration()});
            configured = true;
        }
    }

    zelobox::Listener listener;
    std::unique_ptr<zelobox::Connection> connection;
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

std::string startApp(Middleware& middleware)
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
std::string makeRequests(Middleware& middleware)
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

std::string keyGetsThrough(Middleware& middleware, char const* goal)
{
    int const before = keys;
    middleware.sendKeys();
    return middleware.serveUntil(goal, [before] { return keys > before; });
}

std::string live(size_t& connections)
{
    Middleware middleware;
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
    return entriesOf("/proc/self/task");
}

std::string liveAndCompare(faults::Fault const& fault, size_t& connections)
{
    int const threads = threadsAtRest();
    int const descriptors = entriesOf("/proc/self/fd");
    long const blocks = faults::blocksInUse();
    faults::arm(fault);
    std::string complaint = live(connections);
    faults::disarm();
    auto const end = Clock::now() + seconds(5);
    while (entriesOf("/proc/self/task") > threads && Clock::now() < end) {
        std::this_thread::yield();
    }
    {
        CobaltManager::Config empty; // takes the memory of the texts along
        std::swap(CobaltManager::_config, empty);
    }
    complaint += entriesOf("/proc/self/task") > threads ? "threads left\n" : "";
    complaint += entriesOf("/proc/self/fd") != descriptors ? "descriptors left\n" : "";
    long const left = faults::blocksInUse() - blocks - (complaint.capacity() > 15 ? 1 : 0);
    return left != 0 ? complaint + std::to_string(left) + " blocks left\n" : complaint;
}

[[noreturn]] void child(faults::Fault const& fault, int output)
{
    alarm(60);
    dup2(output, STDOUT_FILENO);
    dup2(output, STDERR_FILENO);
    faults::exemptThisThread();
    quietHostClockRate = 100;
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
