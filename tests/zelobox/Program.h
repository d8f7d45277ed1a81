/// @file
/// zelobox from outside: as a process, with its streams, its exit code and its files.
#ifndef ZELO_TESTS_PROGRAM_H
#define ZELO_TESTS_PROGRAM_H

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

#include "zelobox/base/ChildProcess.h"
#include "zelobox/base/EventLoop.h"

namespace program {

using Words = std::vector<std::string>;

/// @return the program and @p arguments, by way of the emulator in a cross build
Words command(Words const& arguments);

/// @return @p arguments of "demo", and how it starts a host where that is not simply itself
Words demo(Words const& arguments = {});

struct Ended {
    std::string output;
    std::string errors;
    int status; ///< exit status, or 128 and the signal
};

/// A program that runs.
class Program {
public:
    explicit Program(Words const& words);
    ~Program();
    Program(Program const&) = delete;
    Program& operator=(Program const&) = delete;

    void write(std::string const& text) { EXPECT_TRUE(child.write(text)); }
    void closeInput() { child.closeInput(); }
    void signal(int number);

    /// @return false if the program has ended, or the deadline has passed, without printing @p part to either stream
    bool waitForText(std::string const& part);

    /// @return what waitForText() has seen on the standard output so far
    std::string const& printed() const { return output; }

    /// Waits for the end. A program that does not come to one fails the test.
    Ended wait();

private:
    using Time = zelobox::EventLoop::Clock::time_point;

    void watch(int fd, std::string& text);
    bool isDone() const { return hasEnded && openStreams == 0; }

    zelobox::EventLoop loop;
    zelobox::ChildProcess child;
    std::string output;
    std::string errors;
    int openStreams = 2;
    bool hasEnded = false;
};

/// Runs zelobox to its end.
Ended run(Words const& arguments, std::string const& input = "");

/// @return success if @p text has all @p parts, one behind the other
testing::AssertionResult hasInOrder(std::string const& text, std::vector<std::string> const& parts);

/// A directory for the files of one test.
class Directory {
public:
    Directory();
    ~Directory();
    Directory(Directory const&) = delete;
    Directory& operator=(Directory const&) = delete;

    std::string path(std::string const& name) const { return place + "/" + name; }
    /// @return the path of a new file
    std::string file(std::string const& name, std::string const& text) const;

private:
    std::string place;
};

bool exists(std::string const& path);

} // namespace program

#endif
