// What a failed POSIX call prints before the process dies of it.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <new>

#include "inc/private/pthread_helper.h"
#include "testkit/Child.h"
#include "testkit/Interpose.h"

using pthread_helper::cond;
using pthread_helper::guard;
using pthread_helper::mutex;

namespace {

std::string const rule(88, '=');

// A fixed place for the object, so that its address is known here as well as in the child.
std::aligned_storage_t<256, 16> storage;

template <typename T> T& make()
{
    return *new (&storage) T;
}

/// Does one thing with an object in the storage.
using Provoke = void (*)();

struct Row {
    interpose::AnyCall& call;
    int result;
    char const* condition;
    int line;
    Provoke provoke;
};

struct Body {
    void run() {}
};
Body body;

void createMutex()
{
    make<mutex>();
}

void destroyMutex()
{
    make<mutex>().~mutex();
}

void lockMutex() NO_THREAD_SAFETY_ANALYSIS
{
    make<mutex>().lock();
}

void unlockMutex() NO_THREAD_SAFETY_ANALYSIS
{
    make<mutex>().unlock();
}

void createCond()
{
    make<cond>();
}

void destroyCond()
{
    make<cond>().~cond();
}

void signalCond()
{
    make<cond>().signal();
}

void broadcastCond()
{
    make<cond>().broadcast();
}

void waitForCond() NO_THREAD_SAFETY_ANALYSIS
{
    mutex held;
    held.lock();
    make<cond>().timedWait(held, timespec());
    held.unlock();
}

void startThread()
{
    using Thread = pthread_helper::thread<Body>;
    (new (&storage) Thread(&body, &Body::run))->start();
}

std::vector<Row> const rows = {
    {interpose::pthread_mutexattr_init, ENOMEM, "res == 0", 159, createMutex},
    {interpose::pthread_mutexattr_settype, EINVAL, "res == 0", 159, createMutex},
    {interpose::pthread_mutex_init, EAGAIN, "res == 0", 159, createMutex},
    {interpose::pthread_mutex_init, EPERM, "res == 0", 159, createMutex},
    {interpose::pthread_mutex_destroy, EBUSY, "res != 16", 163, destroyMutex},
    {interpose::pthread_mutex_destroy, EINVAL, "res == 0", 164, destroyMutex},
    {interpose::pthread_mutex_destroy, EPERM, "res == 0", 164, destroyMutex},
    {interpose::pthread_mutex_lock, EDEADLK, "res != 35", 178, lockMutex},
    {interpose::pthread_mutex_lock, EINVAL, "res == 0", 179, lockMutex},
    {interpose::pthread_mutex_lock, EPERM, "res == 0", 179, lockMutex},
    {interpose::pthread_mutex_unlock, ENOENT, "res == 0", 195, unlockMutex},
    {interpose::pthread_mutex_unlock, EINVAL, "res == 0", 195, unlockMutex},
    {interpose::pthread_cond_init, ENOMEM, "res == 0", 230, createCond},
    {interpose::pthread_cond_destroy, EBUSY, "res == 0", 234, destroyCond},
    {interpose::pthread_cond_timedwait, EINVAL, "res == 0 || res == 110", 270, waitForCond},
    {interpose::pthread_cond_timedwait, EPERM, "res == 0 || res == 110", 270, waitForCond},
    {interpose::pthread_cond_signal, EINVAL, "res == 0", 278, signalCond},
    {interpose::pthread_cond_broadcast, EINVAL, "res == 0", 282, broadcastCond},
    {interpose::pthread_create, EAGAIN, "res == 0", 303, startThread},
};

std::string assertLine(char const* condition, int result, int line)
{
    char text[200];
    snprintf(text, sizeof text, " ASSERT (%s) ret=%d on inc/private/pthread_helper:%d, this:%p", condition, result,
             line, static_cast<void*>(&storage));
    return text;
}

char const frame[] = "0x[0-9a-f]+( - no matching symbol| - error resolving address"
                     "| [^ ]+ \\(\\+0x[0-9a-f]+\\) \\(.+ at 0x[0-9a-f]+\\) )"
                     "|Unknown address";

/// Expects a whole report: rule, text, rule, the stack, rule.
void expectReport(child::Ended const& ended, std::string const& assertion)
{
    std::vector<std::string> const lines = ended.lines();
    ASSERT_LE(5U, lines.size()) << ended.output;
    EXPECT_EQ(rule, lines[0]);
    EXPECT_EQ(assertion, lines[1]);
    EXPECT_EQ(rule, lines[2]);
    for (size_t i = 3; i + 1 < lines.size(); ++i) {
        EXPECT_THAT(lines[i], testing::MatchesRegex(frame));
    }
    EXPECT_EQ(rule, lines.back()) << ended.output;
    EXPECT_EQ('\n', ended.output.back());
}

} // namespace

TEST(AssertionReport, NamesConditionResultLineAndObjectOfEveryCall)
{
    for (Row const& row : rows) {
        SCOPED_TRACE(testing::Message() << "line " << row.line << " result " << row.result);
        child::Ended const ended = child::run([&] {
            row.call.answerNext(row.result);
            row.provoke();
        });
        EXPECT_TRUE(ended.diedOf(SIGKILL)) << "status " << ended.status << "\n" << ended.output;
        expectReport(ended, assertLine(row.condition, row.result, row.line));
    }
}

TEST(AssertionReport, EndsWithARuleThatADeadProcessNoLongerPrints)
{
    child::Ended const ended = child::run([] {
        int killed = 0;
        int sent = 0;
        interpose::Takeover killing(
            interpose::kill,
            [&](pid_t process, int signal) {
                killed = process;
                sent = signal;
                return 0;
            },
            interpose::Threads::All);
        interpose::pthread_cond_signal.answerNext(EINVAL);
        signalCond();
        printf("pid %d, kill %d %d\n", getpid(), killed, sent);
    });
    ASSERT_TRUE(ended.returned()) << ended.output;
    std::vector<std::string> const lines = ended.lines();
    EXPECT_EQ(4, std::count(lines.begin(), lines.end(), rule)) << ended.output;
    ASSERT_LE(3U, lines.size());
    EXPECT_EQ(rule, lines[lines.size() - 3]);
    EXPECT_EQ(rule, lines[lines.size() - 2]);
    int own = 0;
    int killed = -1;
    int signal = 0;
    EXPECT_EQ(3, sscanf(lines.back().c_str(), "pid %d, kill %d %d", &own, &killed, &signal));
    EXPECT_EQ(own, killed);
    EXPECT_EQ(SIGKILL, signal);
}

TEST(AssertionReport, EndsTheProcessAlsoWhenNobodyReadsIt)
{
    auto const begin = std::chrono::steady_clock::now();
    child::Ended const ended = child::run([] {
        int ends[2];
        ASSERT_EQ(0, pipe2(ends, O_NONBLOCK));
        while (write(ends[1], "", 1) == 1) {
        }
        fcntl(ends[1], F_SETFL, 0);
        dup2(ends[1], STDOUT_FILENO);
        sigset_t all;
        sigfillset(&all);
        sigprocmask(SIG_BLOCK, &all, nullptr);
        interpose::pthread_cond_signal.answerNext(EINVAL);
        signalCond();
    });
    EXPECT_TRUE(ended.diedOf(SIGKILL)) << ended.status;
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(2000));
}

TEST(AssertionReport, PutsTheStackOnStandardError)
{
    child::Ended const ended = child::run([] {
        dup2(open("/dev/null", O_WRONLY), STDERR_FILENO);
        interpose::pthread_cond_signal.answerNext(EINVAL);
        signalCond();
    });
    EXPECT_TRUE(ended.diedOf(SIGKILL));
    EXPECT_THAT(ended.lines(), testing::ElementsAre(rule, assertLine("res == 0", EINVAL, 278), rule, rule));
}

TEST(AssertionReport, IsWholeWhenBothStreamsAreBuffered)
{
    child::Ended const ended = child::run([] {
        static char buffers[2][100000];
        setvbuf(stdout, buffers[0], _IOFBF, sizeof buffers[0]);
        setvbuf(stderr, buffers[1], _IOFBF, sizeof buffers[1]);
        interpose::pthread_cond_signal.answerNext(EINVAL);
        signalCond();
    });
    expectReport(ended, assertLine("res == 0", EINVAL, 278));
}

#if !defined(__SANITIZE_THREAD__) // which reports the misuse itself, before the library can
extern "C" __attribute__((noinline)) void lockOnceMore(mutex& held) NO_THREAD_SAFETY_ANALYSIS
{
    held.lock();
    held.unlock();
}

TEST(AssertionReport, IsMadeOfAMutexThatItsOwnerLocksAgain)
{
    child::Ended const ended = child::run([] {
        mutex& held = make<mutex>();
        guard const lock(held);
        lockOnceMore(held);
    });
    EXPECT_TRUE(ended.diedOf(SIGKILL));
    expectReport(ended, assertLine("res != 35", 35, 178));
    EXPECT_THAT(ended.output, testing::HasSubstr(" lockOnceMore (+0x")) << "the caller is in the stack";
    EXPECT_THAT(ended.output, testing::HasSubstr(" main (+0x")) << "down to the outermost frame";
}

TEST(AssertionReport, IsMadeOfALockedMutexThatIsDestroyed)
{
    child::Ended const ended = child::run([]() NO_THREAD_SAFETY_ANALYSIS {
        mutex& held = make<mutex>();
        held.lock();
        held.~mutex();
    });
    EXPECT_TRUE(ended.diedOf(SIGKILL));
    expectReport(ended, assertLine("res != 16", 16, 163));
}
#endif
