#include "zelobox/base/Terminal.h"

#include <unistd.h>

#include <cstdlib>
#include <string>

namespace zelobox {

namespace {

ColourChoice chosen = ColourChoice::Auto;

std::string valueOf(char const* variable)
{
    char const* const value = std::getenv(variable);
    return value != nullptr ? value : "";
}

} // namespace

void chooseColour(ColourChoice choice)
{
    chosen = choice;
}

bool usesColour(int fd)
{
    if (chosen != ColourChoice::Auto) {
        return chosen == ColourChoice::Always;
    }
    return isatty(fd) != 0 && valueOf("NO_COLOR").empty() && valueOf("TERM") != "dumb";
}

} // namespace zelobox
