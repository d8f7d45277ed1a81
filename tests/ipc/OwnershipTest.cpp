// Descriptors and threads: as many as before, each closed by its owner.
#include <dirent.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "testkit/HostStandIn.h"
#include "testkit/LinkSupport.h"

using namespace testlink;

namespace {

size_t entriesOf(char const* directory)
{
    DIR* const entries = opendir(directory);
    size_t count = 0;
    while (readdir(entries) != nullptr) {
        ++count;
    }
    closedir(entries);
    return count;
}

size_t descriptors()
{
    return entriesOf("/proc/self/fd");
}

/// A joined thread may stay in the list for a moment.
testing::AssertionResult threadsComeBackTo(size_t expected)
{
    bool const back = eventually([expected] { return entriesOf("/proc/self/task") == expected; });
    return back ? testing::AssertionSuccess()
                : testing::AssertionFailure() << entriesOf("/proc/self/task") << " threads, not " << expected;
}

} // namespace

TEST(Ownership, FiftyStartsAndStopsLeaveNothingBehind)
{
    zelobox::Listener listener;
    size_t const descriptorsBefore = descriptors();
    size_t const threadsBefore = entriesOf("/proc/self/task");
    for (int i = 0; i < 50; ++i) {
        Link link;
        zelobox::Connection const middleware = link.startAndAccept(listener);
        link.stop();
    }
    EXPECT_EQ(descriptorsBefore, descriptors());
    EXPECT_TRUE(threadsComeBackTo(threadsBefore));
}

TEST(Ownership, FiftyDropsLeaveOneConnection)
{
    zelobox::Listener listener;
    Link link;
    zelobox::Connection middleware = link.startAndAccept(listener);
    size_t const descriptorsBefore = descriptors();
    size_t const threadsBefore = entriesOf("/proc/self/task");
    for (size_t i = 1; i <= 50; ++i) {
        middleware.send(numberFrame(IPC_VOLUME, 1)); // connections that bring nothing are not made in such a hurry
        ASSERT_TRUE(link.handler.waitFor("message 39", i));
        middleware.close();
        middleware = listener.accept();
        ASSERT_TRUE(link.handler.waitFor("connected", i + 1));
    }
    EXPECT_EQ(descriptorsBefore, descriptors());
    EXPECT_TRUE(threadsComeBackTo(threadsBefore));
}

TEST(Ownership, FailedAttemptsLeaveNothingBehind)
{
    standin::setVirtualTime(1000000);
    size_t const descriptorsBefore = descriptors();
    Link link;
    link.start();
    for (int i = 1; i <= 5; ++i) {
        ASSERT_TRUE(standin::waitForLog("total " + std::to_string(i) + " times"));
        standin::advanceVirtualTime(100000000);
    }
    link.stop();
    EXPECT_EQ(descriptorsBefore, descriptors());
}

TEST(Ownership, AClientThatIsStartedAgainClosesWhatItsStopLeftOpen)
{
    zelobox::Listener listener;
    Link link;
    zelobox::Connection first = link.startAndAccept(listener);
    size_t const before = descriptors();
    link.stop();
    link.start();
    zelobox::Connection const second = listener.accept();
    ASSERT_TRUE(link.handler.waitFor("connected", 2));
    EXPECT_TRUE(first.waitForClose());
    first.close();
    EXPECT_EQ(before, descriptors());
}
