#include "tests/zelobox/Program.h"

#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace program {

namespace {

std::chrono::seconds const deadline(60);

/// How a program of the target runs on this machine: nothing, or the emulator and its options.
Words emulator()
{
    std::istringstream text(ZELOBOX_EMULATOR);
    Words words;
    for (std::string word; std::getline(text, word, ';');) {
        words.push_back(word);
    }
    return words;
}

} // namespace

Words command(Words const& arguments)
{
    Words words = emulator();
    words.emplace_back(ZELOBOX_PROGRAM);
    words.insert(words.end(), arguments.begin(), arguments.end());
    return words;
}

Words demo(Words const& arguments)
{
    Words words = {"demo"};
    bool const hasHost = std::find(arguments.begin(), arguments.end(), "--host-command") != arguments.end();
    if (!emulator().empty() && !hasHost) {
        std::string host;
        for (std::string const& word : command({})) {
            host += word + " ";
        }
        words.insert(words.end(), {"--host-command", host});
    }
    words.insert(words.end(), arguments.begin(), arguments.end());
    return words;
}

Program::Program(Words const& words) : child(words)
{
    watch(child.output(), output);
    watch(child.errors(), errors);
    loop.watch(child.endOfProcess(), [this] {
        hasEnded = true;
        loop.forget(child.endOfProcess());
    });
}

Program::~Program() = default;

void Program::signal(int number)
{
    EXPECT_EQ(0, kill(child.id(), number));
}

bool Program::waitForText(std::string const& part)
{
    auto const hasPart = [&] {
        return output.find(part) != std::string::npos || errors.find(part) != std::string::npos;
    };
    loop.run(zelobox::EventLoop::Clock::now() + deadline, [&] { return hasPart() || isDone(); });
    return hasPart();
}

Ended Program::wait()
{
    if (!loop.run(zelobox::EventLoop::Clock::now() + deadline, [this] { return isDone(); })) {
        ADD_FAILURE() << "the program does not end; it has printed:\n" << output << errors;
        signal(SIGKILL);
    }
    child.wait();
    return {output, errors, child.exitStatus()};
}

void Program::watch(int fd, std::string& text)
{
    loop.watch(fd, [this, fd, &text] {
        char bytes[4096];
        ssize_t const count = read(fd, bytes, sizeof bytes);
        if (count > 0) {
            text.append(bytes, static_cast<size_t>(count));
        } else {
            loop.forget(fd);
            --openStreams;
        }
    });
}

Ended run(Words const& arguments, std::string const& input)
{
    Program program(command(arguments));
    program.write(input);
    program.closeInput();
    return program.wait();
}

testing::AssertionResult hasInOrder(std::string const& text, std::vector<std::string> const& parts)
{
    size_t position = 0;
    for (std::string const& part : parts) {
        size_t const found = text.find(part, position);
        if (found == std::string::npos) {
            return testing::AssertionFailure() << "\"" << part << "\" is missing or not in its place in:\n" << text;
        }
        position = found + part.size();
    }
    return testing::AssertionSuccess();
}

Directory::Directory() : place("/tmp/zelobox_test_XXXXXX")
{
    if (mkdtemp(place.data()) == nullptr) {
        throw std::runtime_error("no directory for the files of the test");
    }
}

Directory::~Directory()
{
    std::filesystem::remove_all(place);
}

std::string Directory::file(std::string const& name, std::string const& text) const
{
    std::ofstream(path(name)) << text;
    return path(name);
}

bool exists(std::string const& path)
{
    struct stat status = {};
    return lstat(path.c_str(), &status) == 0;
}

} // namespace program
