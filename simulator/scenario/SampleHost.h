/// @file
/// The sample host in a process of its own.
#ifndef ZELO_SIMULATOR_SAMPLEHOST_H
#define ZELO_SIMULATOR_SAMPLEHOST_H

#include <deque>
#include <string>
#include <vector>

#include "simulator/ChildProcess.h"
#include "simulator/EventLoop.h"
#include "simulator/Json.h"
#include "simulator/LineReader.h"
#include "simulator/Timeline.h"

namespace zelobox {

/// Runs `zelobox host --json --no-start` and keeps what it reports.
class SampleHost {
public:
    /// @param arguments  the command; see ChildProcess
    SampleHost(EventLoop& eventLoop, Timeline& timeline, std::vector<std::string> const& arguments);
    ~SampleHost();
    SampleHost(SampleHost const&) = delete;
    SampleHost& operator=(SampleHost const&) = delete;

    /// Has the host carry out one command.
    void call(std::string const& command);
    /// Lets the host end: it has no more commands.
    void finish() { child.closeInput(); }

    bool hasEnded() const { return ended; }
    /// @return "exit status 0"
    std::string const& ending() const { return endText; }
    int exitStatus() const { return child.exitStatus(); }

    std::deque<Json> callbacks; ///< {"callback":"key","key":13,...}, oldest first
    std::deque<Json> results;   ///< {"result":"volume",...}, oldest first

private:
    bool onReadable(int fd);
    void onOutput(std::string const& text);
    void onEnd();

    EventLoop& loop;
    Timeline& shown;
    ChildProcess child;
    LineReader outputReader;
    LineReader errorReader;
    bool ended = false;
    std::string endText;
};

} // namespace zelobox

#endif
