#include "zelobox/host/HostOutput.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>

#include "zelobox/host/LineEditor.h"

namespace zelobox {

char const promptText[] = "zelobox> ";
char const promptEraser[] = "\r\033[K";

namespace {

char const plain[] = "";
char const red[] = "\033[1;31m";
char const magenta[] = "\033[1;35m";

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
    write(json ? jsonLine("callback", name, fields) : lineForPeople(magenta, "callback", name, fields));
}

void HostOutput::result(std::string const& command, Json const& fields, std::string const& text)
{
    write(json           ? jsonLine("result", command, fields)
          : text.empty() ? lineForPeople(plain, "result", command, fields)
                         : text);
}

void HostOutput::error(std::string const& command, std::string const& problem)
{
    if (json) {
        return write(jsonLine("result", "error", {{"command", command}, {"problem", problem}}));
    }
    write(coloured(red, "error") + ": " + problem + "\n");
}

std::string HostOutput::jsonLine(char const* subject, std::string const& name, Json const& fields)
{
    Json report = {{subject, name}};
    report.update(fields);
    return lineOf(report) + "\n";
}

std::string HostOutput::lineForPeople(char const* colour, std::string const& subject, std::string const& name,
                                      Json const& fields) const
{
    return coloured(colour, subject + " " + name) + (fields.empty() ? "" : ": ") + fieldsText(fields) + "\n";
}

std::string HostOutput::coloured(char const* colour, std::string const& text) const
{
    return hasColours && *colour != '\0' ? colour + text + "\033[0m" : text;
}

void HostOutput::write(std::string const& lines)
{
    // In one piece: the prompt's thread draws between two writes, whatever lock is held here.
    std::string const text = (redraw >= 0 ? promptEraser : "") + lines;
    std::lock_guard<std::mutex> const lock(mutex);
    writeAll(target, text);
    if (redraw >= 0) {
        eventfd_write(redraw, 1);
    }
}

} // namespace zelobox
