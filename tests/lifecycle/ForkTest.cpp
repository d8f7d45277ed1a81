#include <gtest/gtest.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>

#include "cobalt/ZeloCobalt.h"
#include "testkit/Callbacks.h"
#include "testkit/HostStandIn.h"
#include "testkit/Middleware.h"

namespace {

bool isForkedChild = false;

/// Forks. @return 0 in the child, which has some seconds to live
pid_t forkChild()
{
    pid_t const child = fork();
    if (child == 0) {
        isForkedChild = true;
        alarm(60);
    }
    return child;
}

/// @return the exit status; -1 if the child was killed, by its own watchdog too
int statusOf(pid_t child)
{
    int status = 0;
    EXPECT_EQ(child, waitpid(child, &status, 0));
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

class Fork : public testing::Test {
protected:
    Fork()
    {
        middleware.serveStart([] { ZeloStartApp(callbacks::all()); });
    }
    ~Fork() override { ZeloStopApp(); }

    void expectLinkAlive()
    {
        size_t const before = callbacks::calls().size();
        middleware.sendKey(2);
        EXPECT_TRUE(callbacks::waitForCalls(before + 1));
        ZeloRequestPreviousController();
        EXPECT_EQ(std::vector<int>{IPC_PREVIOUS_CONTROLLER}, middleware.receiveTypes(1));
    }

    Middleware middleware;
};

} // namespace

/// Asked by the leak check at exit, where there is one: what other threads of the parent were just working on is
/// reachable from their stacks only, which a child does not have.
extern "C" int __lsan_is_turned_off();
extern "C" int __lsan_is_turned_off()
{
    return isForkedChild ? 1 : 0;
}

TEST_F(Fork, ChildExitsWithItsOwnStatus)
{
    pid_t const child = forkChild();
    if (child == 0) {
        exit(5);
    }
    EXPECT_EQ(5, statusOf(child));
    expectLinkAlive();
}

TEST_F(Fork, ChildExitsWhileACallbackRunsInTheParent)
{
    callbacks::Latch inCallback;
    middleware.sendKey(2);
    ASSERT_TRUE(inCallback.waitUntilEntered());
    pid_t const child = forkChild();
    if (child == 0) {
        exit(6);
    }
    EXPECT_EQ(6, statusOf(child));
    inCallback.release();
    ASSERT_TRUE(callbacks::waitForCalls(1));
    expectLinkAlive();
}

TEST_F(Fork, ProgramThatTheHostStartsDoesNotInheritTheLink)
{
    FILE* const program = popen("cat", "w"); // waits at the other end of a pipe
    ASSERT_NE(nullptr, program);
    ZeloStopApp();
    EXPECT_TRUE(middleware.link().waitForClose());
    EXPECT_EQ(0, pclose(program));
}

TEST_F(Fork, ChildThatLivesOnDoesNotKeepTheLinkOpen)
{
    pid_t const child = forkChild();
    if (child == 0) {
        for (;;) {
            pause();
        }
    }
    ZeloStopApp();
    EXPECT_TRUE(middleware.link().waitForClose(zelobox::Milliseconds(1000)));
    kill(child, SIGKILL);
    EXPECT_EQ(-1, statusOf(child));
}
