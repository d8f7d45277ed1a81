#include <sstream>

#include "zelobox/check/Case.h"
#include "zelobox/scenario/HostProcess.h"

namespace zelobox {

namespace {

/// A sample host that answers in time.
class Host {
public:
    explicit Host(CheckSetting const& checkSetting)
        : setting(checkSetting), timeline(log, false), host(loop, timeline, setting.hostArguments)
    {
    }

    /// @throw Unexpected
    Json call(std::string const& command)
    {
        host.call(command);
        waitFor("an answer to " + command, [this] { return !host.results.empty(); });
        Json answer = host.results.front().fields;
        host.results.pop_front();
        return answer;
    }

    /// @throw Unexpected
    void end()
    {
        host.finish();
        waitFor("the end of the host", [this] { return host.hasEnded(); });
        if (host.exitStatus() != 0) {
            throw Unexpected("the sample host has ended with " + host.ending() + "\n" + log.str());
        }
    }

private:
    template <typename Predicate> void waitFor(std::string const& what, Predicate hasCome)
    {
        loop.run(EventLoop::Clock::now() + setting.timeout, [&] { return hasCome() || host.hasEnded(); });
        if (hasCome()) {
            return;
        }
        if (host.hasEnded()) {
            throw Unexpected("the sample host has ended with " + host.ending() + "\n" + log.str());
        }
        throw PeerTimeout("the library does not come to " + what);
    }

    CheckSetting const& setting;
    std::ostringstream log;
    EventLoop loop;
    Timeline timeline;
    HostProcess host;
};

} // namespace

void judgeLibraryStart(CheckSetting const& setting)
{
    if (setting.socketPath != defaultSocketPath) {
        throw NotJudged(std::string("the library knows only ") + defaultSocketPath);
    }
    Host host(setting);
    host.call("start");
    Json const display = host.call("display");
    host.call("stop");
    host.end();
    if (display.value("width", 0U) == 0 || display.value("height", 0U) == 0) {
        throw Unexpected("the display is " + fieldsText(display));
    }
}

} // namespace zelobox
