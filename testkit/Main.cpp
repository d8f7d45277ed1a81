// The main program of every test: each test leaves as many descriptors and threads as it found, and none runs for ever.
#include <dirent.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include <chrono>
#include <thread>

namespace {

unsigned const watchdogSeconds = 120;

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

/// Waits for an ended thread to leave the list: a join returns a moment before the kernel forgets the thread.
int threadsAtMost(int expected)
{
    auto const end = std::chrono::steady_clock::now() + std::chrono::seconds(2);
    int count = entriesOf("/proc/self/task");
    while (count > expected && std::chrono::steady_clock::now() < end) {
        usleep(1000);
        count = entriesOf("/proc/self/task");
    }
    return count;
}

class LeavesNothingBehind : public testing::EmptyTestEventListener {
    void OnTestStart(testing::TestInfo const&) override
    {
        alarm(watchdogSeconds);
        descriptors = entriesOf("/proc/self/fd");
        threads = entriesOf("/proc/self/task");
    }

    void OnTestEnd(testing::TestInfo const&) override
    {
        EXPECT_EQ(descriptors, entriesOf("/proc/self/fd")) << "descriptors before and after the test";
        EXPECT_EQ(threads, threadsAtMost(threads)) << "threads before and after the test";
        alarm(0);
    }

    int descriptors = 0;
    int threads = 0;
};

void onWatchdog(int)
{
    static char const text[] = "WATCHDOG: the test took too long\n";
    static_cast<void>(!write(STDERR_FILENO, text, sizeof text - 1));
    signal(SIGABRT, SIG_DFL);
    abort();
}

} // namespace

int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
    signal(SIGALRM, onWatchdog);
    // ThreadSanitizer makes a thread of its own beside the first one; it is to be there before anybody counts.
    std::thread([] {}).join();
    testing::UnitTest::GetInstance()->listeners().Append(new LeavesNothingBehind);
    return RUN_ALL_TESTS();
}
