#include "zelobox/base/Printable.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <optional>

namespace zelobox {

namespace {

struct Character {
    uint32_t code = 0;
    size_t size = 0;
};

bool isContinuation(char byte)
{
    return (static_cast<uint8_t>(byte) & 0xC0) == 0x80;
}

/// @return the length of the character that @p first begins, 0 if it begins none
size_t lengthFrom(uint8_t first)
{
    if (first < 0x80) {
        return 1;
    }
    if (first < 0xC2 || first > 0xF4) {
        return 0;
    }
    return first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
}

/// @return nothing when the bytes at @p at are no character of UTF-8
std::optional<Character> characterAt(std::string const& text, size_t at)
{
    static uint32_t const smallest[] = {0, 0, 0x80, 0x800, 0x10000};
    auto const first = static_cast<uint8_t>(text[at]);
    size_t const size = lengthFrom(first);
    if (size == 0 || size > text.size() - at) {
        return std::nullopt;
    }
    uint32_t code = size == 1 ? first : first & (0xFFU >> (size + 1));
    for (size_t i = 1; i < size; ++i) {
        if (!isContinuation(text[at + i])) {
            return std::nullopt;
        }
        code = code << 6 | (static_cast<uint8_t>(text[at + i]) & 0x3F);
    }
    bool const isSurrogate = code >= 0xD800 && code <= 0xDFFF;
    if (code < smallest[size] || isSurrogate || code > 0x10FFFF) {
        return std::nullopt;
    }
    return Character{code, size};
}

bool isHarmful(uint32_t code)
{
    struct Range {
        uint32_t first;
        uint32_t last;
    };
    static Range const harmful[] = {
        {0x00, 0x1F},     {0x7F, 0x9F},     {0x061C, 0x061C}, {0x200E, 0x200F},
        {0x2028, 0x202E}, {0x2066, 0x2069}, {0xFEFF, 0xFEFF},
    };
    return std::any_of(std::begin(harmful), std::end(harmful),
                       [code](Range const& range) { return code >= range.first && code <= range.last; });
}

bool isPlain(std::string const& text)
{
    return std::all_of(text.begin(), text.end(), [](char byte) { return byte >= ' ' && byte <= '~'; });
}

} // namespace

bool isUtf8(std::string const& text)
{
    for (size_t at = 0; at < text.size();) {
        std::optional<Character> const found = characterAt(text, at);
        if (!found) {
            return false;
        }
        at += found->size;
    }
    return true;
}

std::string printable(std::string const& text)
{
    if (isPlain(text)) {
        return text;
    }
    std::string result;
    for (size_t at = 0; at < text.size();) {
        std::optional<Character> const found = characterAt(text, at);
        size_t const size = found ? found->size : 1;
        if (!found) {
            result += "\xEF\xBF\xBD";
        } else if (isHarmful(found->code)) {
            char escaped[8];
            snprintf(escaped, sizeof escaped, "\\u%04x", found->code & 0xFFFF);
            result += escaped;
        } else {
            result.append(text, at, size);
        }
        at += size;
    }
    return result;
}

} // namespace zelobox
