#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>

#include <fstream>
#include <memory>

#include "tests/zelobox/Program.h"

namespace {

/// `zelobox serve --open` with only the programs in @p directory.
class Serve {
public:
    explicit Serve(program::Directory const& directory)
    {
        program::Words words = {"/bin/sh", "-c", "PATH=\"$1\"; shift; exec \"$@\"", "sh", directory.path("")};
        for (std::string const& word :
             program::command({"serve", "--port", "0", "--socket", directory.path("messenger"), "--open"})) {
            words.push_back(word);
        }
        running = std::make_unique<program::Program>(words);
    }

    std::unique_ptr<program::Program> running;
};

} // namespace

TEST(OpenInBrowser, HandsThePagesAddressOver)
{
    program::Directory const directory;
    std::string const browser = directory.file("xdg-open", "#!/bin/sh\necho \"opens $1\" >\"${0%/*}/opened\"\n");
    ASSERT_EQ(0, chmod(browser.c_str(), 0700));
    ASSERT_EQ(0, mkfifo(directory.path("opened").c_str(), 0600));
    Serve serve(directory);
    std::ifstream opened(directory.path("opened")); // waits for the browser
    std::string line;
    std::getline(opened, line);
    EXPECT_TRUE(serve.running->waitForText("has its page at "));
    std::string const printed = serve.running->printed();
    std::string const begin = "has its page at ";
    size_t const address = printed.find(begin) + begin.size();
    EXPECT_EQ("opens " + printed.substr(address, printed.find('\n', address) - address), line);
    serve.running->signal(SIGINT);
    EXPECT_EQ(0, serve.running->wait().status);
}

TEST(OpenInBrowser, SaysThatThereIsNone)
{
    program::Directory const directory;
    Serve serve(directory);
    EXPECT_TRUE(serve.running->waitForText("finds no browser: xdg-open is missing; open the address yourself"));
}
