/// @file
/// The sample host as a child process.
#ifndef ZELO_ZELOBOX_HOSTPROCESS_H
#define ZELO_ZELOBOX_HOSTPROCESS_H

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "zelobox/base/ChildProcess.h"
#include "zelobox/base/EventLoop.h"
#include "zelobox/base/LineReader.h"
#include "zelobox/middleware/Timeline.h"
#include "zelobox/protocol/Json.h"
#include "zelobox/scenario/ScenarioHost.h"

namespace zelobox {

/// Runs `zelobox host --json --no-start` and keeps what it reports.
class HostProcess final : public ScenarioHost {
public:
    /// @param arguments  the command; see ChildProcess
    HostProcess(EventLoop& eventLoop, Timeline& timeline, std::vector<std::string> const& arguments);
    ~HostProcess();
    HostProcess(HostProcess const&) = delete;
    HostProcess& operator=(HostProcess const&) = delete;

    /// Has callbacks handed to @p handler as they come, instead of being kept.
    void onCallback(std::function<void(Json const&)> handler) { callbackHandler = std::move(handler); }
    pid_t id() const { return child.id(); }

    void call(std::string const& command) override;
    bool expects(Json const&) override { return true; }
    bool finish() override
    {
        child.closeInput();
        return true;
    }
    bool hasEnded() const override { return ended; }
    std::string ending() const override { return endText; }
    int exitStatus() const override { return child.exitStatus(); }

private:
    bool onReadable(int fd);
    void onOutput(std::string const& text);
    void onEnd();

    EventLoop& loop;
    Timeline& shown;
    ChildProcess child;
    std::function<void(Json const&)> callbackHandler;
    LineReader outputReader;
    LineReader errorReader;
    bool ended = false;
    std::string endText;
};

} // namespace zelobox

#endif
