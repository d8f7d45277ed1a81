#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <signal.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include "tests/zelobox/Program.h"
#include "zelobox/base/EventLoop.h"
#include "zelobox/protocol/BrowserConfigJson.h"
#include "zelobox/protocol/BrowserConfigPayload.h"
#include "zelobox/protocol/Peer.h"

using testing::HasSubstr;
using testing::Not;
using zelobox::EventLoop;

namespace {

/// zelobox on a terminal of its own.
class OnTerminal {
public:
    explicit OnTerminal(program::Words const& arguments)
    {
        program::Words const words = program::command(arguments);
        winsize const size = {24, 80, 0, 0};
        int master = -1;
        pid = forkpty(&master, nullptr, nullptr, &size);
        if (pid == 0) {
            setenv("TERM", "vt100", 1);
            std::vector<char*> list;
            for (std::string const& word : words) {
                list.push_back(const_cast<char*>(word.c_str()));
            }
            list.push_back(nullptr);
            execv(list[0], list.data());
            _exit(127);
        }
        terminal.reset(master);
        loop.watch(master, [this] { read(); });
    }
    ~OnTerminal()
    {
        if (pid != 0) {
            kill(pid, SIGKILL);
            waitpid(pid, nullptr, 0);
        }
    }

    void type(std::string const& keys)
    {
        EXPECT_EQ(static_cast<ssize_t>(keys.size()), write(terminal.get(), keys.data(), keys.size()));
    }

    /// Waits until @p part has been shown since the last call.
    testing::AssertionResult shows(std::string const& part)
    {
        auto const find = [&] { return shown.find(part, seen); };
        loop.run(deadline(), [&] { return find() != std::string::npos || !isOpen; });
        if (find() == std::string::npos) {
            return testing::AssertionFailure() << "\"" << part << "\" is not shown in:\n" << shown.substr(seen);
        }
        seen = find() + part.size();
        return testing::AssertionSuccess();
    }

    /// Waits until @p part has been shown, with nothing before it.
    testing::AssertionResult showsNext(std::string const& part)
    {
        loop.run(deadline(), [&] { return shown.size() - seen >= part.size() || !isOpen; });
        if (shown.compare(seen, part.size(), part) != 0) {
            return testing::AssertionFailure() << "\"" << part << "\" is not what is shown next, but:\n"
                                               << shown.substr(seen);
        }
        seen += part.size();
        return testing::AssertionSuccess();
    }

    /// @return the exit status
    int wait()
    {
        EXPECT_TRUE(loop.run(deadline(), [this] { return !isOpen; })) << shown;
        int status = 0;
        waitpid(pid, &status, 0);
        pid = 0;
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }

    std::string shown;

private:
    static EventLoop::Clock::time_point deadline() { return EventLoop::Clock::now() + std::chrono::seconds(60); }

    void read()
    {
        char bytes[4096];
        ssize_t const count = ::read(terminal.get(), bytes, sizeof bytes);
        if (count > 0) {
            shown.append(bytes, static_cast<size_t>(count));
        } else {
            isOpen = false; // EIO: nobody has the terminal any more
            loop.forget(terminal.get());
        }
    }

    EventLoop loop;
    zelobox::Descriptor terminal;
    pid_t pid = 0;
    size_t seen = 0;
    bool isOpen = true;
};

} // namespace

TEST(HostPrompt, CompletesACommand)
{
    OnTerminal host({"host", "--no-start"});
    EXPECT_TRUE(host.shows("zelobox> "));
    host.type("vol\t");
    EXPECT_TRUE(host.shows("ume ")); // what was typed stays where it is
    host.type("\r");
    EXPECT_TRUE(host.shows("result volume: volume=0 muted=false\r\n"));
    EXPECT_TRUE(host.shows("zelobox> "));
    host.type("quit\r");
    EXPECT_EQ(0, host.wait());
}

TEST(HostPrompt, CompletesAnArgumentThatHasNames)
{
    OnTerminal host({"host", "--no-start"});
    host.type("env lan\t\r");
    EXPECT_TRUE(host.shows("result env: key=4 "));
    host.type("help vid\t\r");
    EXPECT_TRUE(host.shows("Example: video 0 0 640 360\r\n"));
    host.type("log l\t1 x\r"); // "language" is for another command
    EXPECT_TRUE(host.shows("\"l1\" is not a number"));
    host.type("env 4 lan\t\r"); // and for another place
    EXPECT_TRUE(host.shows("\"env\" takes one argument"));
    host.type("vol\x01"
              "env re\x0b\t\r"); // a name is completed at its place, whatever came before
    EXPECT_TRUE(host.shows("result env: key=3 "));
    EXPECT_TRUE(host.shows("\r\033[Kzelobox> "));
    host.type("\x04");
    EXPECT_EQ(0, host.wait());
}

TEST(HostPrompt, SaysAtTheStartHowToGoOn)
{
    OnTerminal host({"host", "--no-start"});
    EXPECT_TRUE(host.showsNext("Type \"help\" for what this host can do; Tab completes; Ctrl-D ends it.\r\n"));
    EXPECT_TRUE(host.shows("zelobox> "));
    host.type("hepl\r");
    EXPECT_TRUE(host.shows("\033[1;31merror\033[0m: there is no command \"hepl\"; did you mean \"help\"?\r\n"));
    host.type("help\r");
    EXPECT_TRUE(host.shows("  volume                   ZeloGetVolume\r\n"));
    EXPECT_TRUE(host.shows("zelobox> "));
    host.type("\x04");
    EXPECT_EQ(0, host.wait());
}

TEST(HostPrompt, HasAHistory)
{
    OnTerminal host({"host", "--no-start"});
    host.type("key 44\r");
    EXPECT_TRUE(host.shows("result key: key=13 "));
    host.type("ui\r");
    EXPECT_TRUE(host.shows("result ui: "));
    host.type("\033[A\033[A\r");
    EXPECT_TRUE(host.shows("result key: key=13 "));
    host.type("quit\r");
    EXPECT_EQ(0, host.wait());
}

TEST(HostPrompt, DrawsTheLineAgainBelowWhatIsPrinted)
{
    zelobox::Listener listener;
    OnTerminal host({"host"});
    zelobox::Connection library = listener.accept(zelobox::Milliseconds(30000));
    library.send({IPC_PAYLOAD_RAW, IPC_BROWSER_CONFIG, zelobox::payloadOf(zelobox::defaultConfig())});
    EXPECT_TRUE(host.shows("result start\r\n"));
    host.type("dis");
    EXPECT_TRUE(host.shows("dis"));
    library.send(zelobox::frameOf(IPCMessageUnsignedInt(IPC_VOLUME, 12)));
    EXPECT_TRUE(host.shows("\r\033[K\033[1;35mcallback volumeChanged\033[0m: volume=12 muted=false\r\n"));
    EXPECT_TRUE(host.shows("zelobox> dis"));
    host.type("play\r");
    EXPECT_TRUE(host.shows("result display: width=1920 height=1080\r\n"));
    host.type("log 3 loud\r");
    EXPECT_TRUE(host.shows("\r\033[K"));
    EXPECT_TRUE(host.shows("loud\r\n"));
    EXPECT_TRUE(host.shows("zelobox> "));
    host.type("quit\r");
    EXPECT_EQ(0, host.wait());
}

TEST(HostPrompt, IsNeverDrawnInTheMiddleOfAReport)
{
    unsigned const rounds = 50;
    unsigned const reportsOfARound = 20; // what the terminal holds without being read
    zelobox::Listener listener;
    OnTerminal host({"host", "--log-level", "0"});
    zelobox::Connection library = listener.accept(zelobox::Milliseconds(30000));
    library.send({IPC_PAYLOAD_RAW, IPC_BROWSER_CONFIG, zelobox::payloadOf(zelobox::defaultConfig())});
    EXPECT_TRUE(host.shows("result start\r\n"));
    for (unsigned round = 0; round < rounds; ++round) {
        for (unsigned i = 0; i < reportsOfARound; ++i) {
            library.send(zelobox::frameOf(IPCMessageUnsignedInt(IPC_VOLUME, i)));
            host.type(i % 2 == 0 ? "x" : "\x7f"); // a key, and what takes it away
        }
        for (unsigned i = 0; i < reportsOfARound; ++i) {
            ASSERT_TRUE(host.shows("callback volumeChanged\033[0m: volume="));
            ASSERT_TRUE(host.showsNext(std::to_string(i) + " muted=false\r\n"));
        }
    }
}

TEST(HostPrompt, EndsOnCtrlCAndGivesTheTerminalBack)
{
    OnTerminal host({"host", "--no-start"});
    EXPECT_TRUE(host.shows("zelobox> "));
    host.type("half a l\x03");
    EXPECT_EQ(0, host.wait());
}

TEST(HostPrompt, IsNotThereInAPipe)
{
    program::Ended const ended = program::run({"host", "--no-start"}, "volume\n");
    EXPECT_EQ("result volume: volume=0 muted=false\n", ended.output);
    EXPECT_THAT(ended.output + ended.errors, Not(HasSubstr("zelobox>")));
}
