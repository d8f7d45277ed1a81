#include "zelobox/middleware/Timeline.h"

#include <cstdio>

#include "zelobox/base/Printable.h"

namespace zelobox {

namespace {

char const bold[] = "\033[1m";
char const cyan[] = "\033[36m";
char const green[] = "\033[32m";
char const plain[] = "";

} // namespace

void Timeline::line(std::string const& who, std::string const& what)
{
    write(traceTime(), who, what, plain);
}

void Timeline::heading(std::string const& text)
{
    write(traceTime(), "scenario", "== " + text, bold);
}

void Timeline::onTraffic(TraceRecord const& record)
{
    bool const isFrame = record.event == TraceRecord::Event::Frame;
    bool const hasDirection = isFrame || record.event == TraceRecord::Event::Raw;
    bool const fromLibrary = hasDirection && record.direction == Direction::ToMiddleware;
    std::string const number = std::to_string(record.connection);
    std::string const what = (isFrame ? number + " sends " : "connection " + number + " ") + textOf(record);
    write(record.time, fromLibrary ? "library" : "middleware", what, fromLibrary ? green : cyan);
}

void Timeline::write(int64_t time, std::string const& who, std::string const& what, char const* colour)
{
    begin = begin.value_or(time);
    char start[64];
    snprintf(start, sizeof start, "%8.3f  %-10s  ", static_cast<double>(time - *begin) / 1e6, who.c_str());
    stream << start << (colours ? colour : "") << printable(what) << (colours ? "\033[0m" : "") << "\n";
    if (!buffered) {
        stream.flush();
    }
}

} // namespace zelobox
