#include "zelobox/host/HostOutput.h"

#include <sys/eventfd.h>

#include <iostream>

#include "zelobox/host/LineEditor.h"

namespace zelobox {

char const promptText[] = "zelobox> ";
char const promptEraser[] = "\r\033[K";

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
    std::lock_guard<std::mutex> const lock(mutex);
    std::cout << (redraw >= 0 ? promptEraser : "") << line << std::endl;
    if (redraw >= 0) {
        eventfd_write(redraw, 1);
    }
}

} // namespace zelobox
