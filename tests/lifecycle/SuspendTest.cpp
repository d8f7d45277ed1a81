#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <thread>

#include "cobalt/ZeloCobalt.h"
#include "src/ipc/IPCMessage.h"
#include "testkit/Middleware.h"

namespace {

/// Ends a child also when the test fails.
class Child {
public:
    explicit Child(pid_t forked) : pid(forked) {}
    ~Child()
    {
        kill(pid, SIGKILL);
        waitpid(pid, nullptr, 0);
    }
    Child(Child const&) = delete;
    Child& operator=(Child const&) = delete;

    pid_t const pid;
};

} // namespace

TEST(Suspend, OfTheProcessKeepsItsLink)
{
    Middleware middleware;
    Child const host(fork());
    if (host.pid == 0) {
        ZeloStartApp({[](SbKey, uint8_t) { ZeloRequestPreviousController(); }, nullptr, nullptr, nullptr});
        ZeloRequestPreviousController(); // from now on a callback's request finds the manager
        pause();
        _exit(1);
    }
    std::vector<int> const request = {IPC_PREVIOUS_CONTROLLER};
    middleware.acceptClient();
    middleware.configure();
    EXPECT_EQ(request, middleware.receiveTypes(1));
    for (int i = 0; i < 5; ++i) {
        int status = 0;
        kill(host.pid, SIGSTOP);
        waitpid(host.pid, &status, WUNTRACED);
        EXPECT_TRUE(WIFSTOPPED(status));
        // With and without a time-out of the socket meanwhile.
        std::this_thread::sleep_for(std::chrono::milliseconds(i * 100));
        middleware.sendKey(2);
        kill(host.pid, SIGCONT);
        EXPECT_EQ(request, middleware.receiveTypes(1));
    }
}
