#include "zelobox/host/HostOutput.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>

#include "zelobox/host/LineEditor.h"

namespace zelobox {

char const promptText[] = "zelobox> ";
char const promptEraser[] = "\r\033[K";

namespace {

/// What nobody takes any more is lost.
void writeAll(int target, std::string const& text)
{
    size_t done = 0;
    while (done < text.size()) {
        ssize_t const count = ::write(target, text.data() + done, text.size() - done);
        if (count < 0 && errno != EINTR) {
            return;
        }
        done += count > 0 ? static_cast<size_t>(count) : 0;
    }
}

} // namespace

void HostOutput::callback(std::string const& name, Json const& fields)
{
    write("callback", name, fields);
}

void HostOutput::result(std::string const& command, Json const& fields)
{
    write("result", command, fields);
}

void HostOutput::error(std::string const& command, std::string const& problem)
{
    write("result", "error", {{"command", command}, {"problem", problem}});
}

void HostOutput::write(char const* subject, std::string const& name, Json const& fields)
{
    std::string line;
    if (json) {
        Json report = {{subject, name}};
        report.update(fields);
        line = lineOf(report);
    } else {
        line = std::string(subject) + " " + name + (fields.empty() ? "" : ": ") + fieldsText(fields);
    }
    // In one piece: the prompt's thread draws between two writes, whatever lock is held here.
    std::string const text = (redraw >= 0 ? promptEraser : "") + line + "\n";
    std::lock_guard<std::mutex> const lock(mutex);
    writeAll(target, text);
    if (redraw >= 0) {
        eventfd_write(redraw, 1);
    }
}

} // namespace zelobox
