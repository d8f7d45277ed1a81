#include "tests/simulation/Trace.h"

#include <stdarg.h>
#include <stdio.h>
#include <unistd.h>

#include <map>
#include <set>

#include "tests/simulation/World.h"

namespace simulation {

bool isTracing = false;

namespace {

struct Line {
    int64_t time;
    std::string thread;
    std::string text;
    uintptr_t place;
    unsigned count;
};

std::vector<Line> lines;
std::map<uintptr_t, std::string> places;

/// @return the innermost place of @p chain that is the library's own source, not an inline function that it uses
std::string ownPlace(std::vector<std::string> const& chain)
{
    for (std::string const& place : chain) {
        bool const isOwn = place.find("/src/") != std::string::npos || place.find("/cobalt/") != std::string::npos;
        if (isOwn && place.find("/include/") == std::string::npos) {
            return place.substr(place.rfind('/') + 1);
        }
    }
    return chain.empty() ? "?" : chain.front().substr(chain.front().rfind('/') + 1);
}

/// Asks addr2line for all of them at once.
void resolve(std::set<uintptr_t> const& addresses)
{
    std::string command = "addr2line -a -i -e /proc/" + std::to_string(getpid()) + "/exe";
    for (uintptr_t const address : addresses) {
        char argument[32];
        snprintf(argument, sizeof argument, " %#lx", static_cast<unsigned long>(address - 1));
        command += argument;
    }
    FILE* const pipe = popen((command + " 2>/dev/null").c_str(), "r");
    char text[1000];
    uintptr_t current = 0;
    std::vector<std::string> chain;
    while (pipe != nullptr && fgets(text, sizeof text, pipe) != nullptr) {
        std::string const word(text, std::string(text).find_first_of(" \n"));
        if (word.compare(0, 2, "0x") != 0) {
            chain.push_back(word);
            continue;
        }
        places[current] = ownPlace(chain);
        current = std::stoul(word, nullptr, 16) + 1;
        chain.clear();
    }
    places[current] = ownPlace(chain);
    if (pipe != nullptr) {
        pclose(pipe);
    }
}

} // namespace

void setTracing(bool on)
{
    isTracing = on;
    lines.clear();
}

std::string placeOf(uintptr_t address)
{
    if (!isTracing) {
        return "?";
    }
    if (places.count(address) == 0) {
        resolve({address});
    }
    return places[address];
}

std::vector<std::string> takeTrace()
{
    std::set<uintptr_t> unknown;
    for (Line const& line : lines) {
        if (line.place != 0 && places.count(line.place) == 0) {
            unknown.insert(line.place);
        }
    }
    if (!unknown.empty()) {
        resolve(unknown);
    }
    std::vector<std::string> result;
    for (Line const& line : lines) {
        char text[600];
        std::string const count = line.count == 1 ? "" : ", " + std::to_string(line.count) + " times";
        snprintf(text, sizeof text, "%6lld.%06lld  %-11s %-50s %s", static_cast<long long>(line.time / 1000000),
                 static_cast<long long>(line.time % 1000000), line.thread.c_str(), (line.text + count).c_str(),
                 line.place == 0 ? "" : places[line.place].c_str());
        std::string const padded = text;
        result.push_back(padded.substr(0, padded.find_last_not_of(' ') + 1));
    }
    lines.clear();
    return result;
}

void traceLine(char const* format, ...)
{
    char text[400];
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    bool const inWorld = isWorldThere() && world().scheduler.isInWorld();
    Line const line = {inWorld ? world().scheduler.now() : 0, inWorld ? self().name : "", text,
                       inWorld ? self().place : 0, 1};
    if (!lines.empty() && lines.back().text == line.text && lines.back().thread == line.thread) {
        ++lines.back().count;
    } else {
        lines.push_back(line);
    }
}

} // namespace simulation
