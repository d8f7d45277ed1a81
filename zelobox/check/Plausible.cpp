#include "zelobox/check/Plausible.h"

#include <algorithm>
#include <cctype>
#include <regex>

#include "cobalt/ZeloCobalt.h"

namespace zelobox {

namespace {

uint32_t const largestSide = 8192;
uint32_t const largestRatio = 4;

std::string reading(std::string const& value)
{
    return "in little-endian it is " + value;
}

bool hasKey(uint32_t value)
{
    return KeyCodeToSbKey(static_cast<STBCommand>(value & 0xFFFF)) != SbKeyUnknown;
}

/// @return the letters alone, in lower case
std::string lettersOf(std::string const& text)
{
    std::string letters;
    for (char const character : text) {
        if (std::isalpha(static_cast<unsigned char>(character)) != 0) {
            letters += static_cast<char>(std::tolower(static_cast<unsigned char>(character)));
        }
    }
    return letters;
}

} // namespace

std::string implausibleSize(uint16_t width, uint16_t height)
{
    if (width == 0 && height == 0) {
        return "";
    }
    if (std::max(width, height) > largestSide) {
        return "at most " + std::to_string(largestSide) + " a side";
    }
    bool const isNarrow = std::max(width, height) > largestRatio * std::min(width, height);
    return isNarrow ? "no side more than " + std::to_string(largestRatio) + " times the other" : "";
}

std::string sizeHint(uint16_t width, uint16_t height)
{
    uint16_t const swappedWidth = __builtin_bswap16(width);
    uint16_t const swappedHeight = __builtin_bswap16(height);
    return implausibleSize(swappedWidth, swappedHeight).empty()
               ? reading(std::to_string(swappedWidth) + " x " + std::to_string(swappedHeight))
               : "";
}

std::string volumeHint(uint32_t value)
{
    uint32_t const swapped = __builtin_bswap32(value);
    return swapped <= loudest ? reading(std::to_string(swapped)) : "";
}

std::string implausibleKey(uint32_t value)
{
    if (!hasKey(value)) {
        return "command " + std::to_string(value & 0xFFFF) + ", which has no key";
    }
    uint32_t const rest = value >> 24;
    return rest != 0 ? "bits 24 to 31 are " + std::to_string(rest) + ", which nobody reads" : "";
}

std::string keyHint(uint32_t value)
{
    uint32_t const swapped = __builtin_bswap32(value);
    return implausibleKey(swapped).empty() ? reading("command " + std::to_string(swapped & 0xFFFF)) : "";
}

std::string lifeCycleTextMeant(std::string const& text)
{
    for (char const* const known : {"onpause", "onresume"}) {
        std::string const letters = lettersOf(text);
        if (letters == known || "on" + letters == known) {
            return known;
        }
    }
    return "";
}

bool isLanguageTag(std::string const& text)
{
    static std::regex const tag("[A-Za-z]{2,8}(-[A-Za-z0-9]{1,8})*");
    return text.size() <= 64 && std::regex_match(text, tag);
}

} // namespace zelobox
