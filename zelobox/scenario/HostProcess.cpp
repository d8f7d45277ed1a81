#include "zelobox/scenario/HostProcess.h"

#include <poll.h>

namespace zelobox {

namespace {

/// {"callback":"key","key":13} is "callback key: key=13" for people.
std::string textOfReport(Json report, std::string const& subject, std::string const& verb)
{
    std::string const what = report[subject].get<std::string>();
    report.erase(subject);
    return verb + " " + what + (report.empty() ? "" : ": ") + fieldsText(report);
}

bool isReadable(int fd)
{
    pollfd entry = {fd, POLLIN, 0};
    return poll(&entry, 1, 0) > 0;
}

} // namespace

HostProcess::HostProcess(EventLoop& eventLoop, Timeline& timeline, std::vector<std::string> const& arguments)
    : loop(eventLoop), shown(timeline), child(arguments)
{
    loop.watch(child.output(), [this] { onReadable(child.output()); });
    loop.watch(child.errors(), [this] { onReadable(child.errors()); });
    loop.watch(child.endOfProcess(), [this] { onEnd(); });
}

HostProcess::~HostProcess()
{
    loop.forget(child.output());
    loop.forget(child.errors());
    loop.forget(child.endOfProcess());
}

void HostProcess::call(std::string const& command)
{
    shown.line("host", "calls " + command);
    child.write(command + "\n"); // a host that has gone is noticed by its end
}

bool HostProcess::onReadable(int fd)
{
    bool const isOutput = fd == child.output();
    LineReader& reader = isOutput ? outputReader : errorReader;
    bool const more = reader.read(fd, [this, isOutput](std::string const& line) {
        if (isOutput) {
            onOutput(line);
        } else {
            shown.line("host log", line);
        }
    });
    if (!more) {
        loop.forget(fd);
    }
    return more;
}

void HostProcess::onOutput(std::string const& text)
{
    Json const report = Json::parse(text, nullptr, false);
    if (report.is_object() && report.contains("callback")) {
        if (callbackHandler) {
            callbackHandler(report);
        } else {
            callbacks.push_back({report});
        }
        shown.line("host", textOfReport(report, "callback", "callback"));
    } else if (report.is_object() && report.contains("result")) {
        results.push_back({report});
        shown.line("host", textOfReport(report, "result", "answers"));
    } else {
        shown.line("host", text);
    }
}

/// What the host wrote before its end counts; but a child of its own may still have the pipes, so they need not end.
void HostProcess::onEnd()
{
    loop.forget(child.endOfProcess());
    for (int const fd : {child.output(), child.errors()}) {
        while (isReadable(fd) && onReadable(fd)) {
        }
    }
    endText = child.wait();
    ended = true;
    shown.line("host", "has ended: " + endText);
}

} // namespace zelobox
