#include "zelobox/check/PayloadReader.h"

namespace zelobox {

std::string byteText(char byte)
{
    return byte > ' ' && byte <= '~' ? std::string("'") + byte + "'" : hexOf({byte});
}

std::string countText(size_t count)
{
    return std::to_string(count) + (count == 1 ? " byte" : " bytes");
}

char const* PayloadReader::take(std::string const& field, size_t size)
{
    if (failure) {
        return nullptr;
    }
    if (size > left()) {
        fail(Rule::WholePayload, field, next, countText(left()) + " left", countText(size));
        return nullptr;
    }
    char const* const begin = payload.data() + next;
    next += size;
    return begin;
}

uint64_t PayloadReader::number(std::string const& field, size_t width)
{
    char const* const begin = take(field, width);
    uint64_t value = 0;
    for (size_t i = 0; begin != nullptr && i < width; ++i) {
        value = value << 8 | static_cast<uint8_t>(begin[i]);
    }
    return value;
}

PayloadReader::Text PayloadReader::countedText(std::string const& field)
{
    size_t const lengthAt = next;
    auto const length = static_cast<size_t>(number("length of " + field, 2));
    size_t const begin = next;
    if (failure) {
        return {};
    }
    if (length == 0) {
        fail(Rule::CountedTexts, "length of " + field, lengthAt, "0",
             "1 or more: the length counts the byte 0 behind the text");
        return {};
    }
    if (length > left()) {
        fail(Rule::CountedTexts, "length of " + field, lengthAt,
             std::to_string(length) + ", but " + countText(left()) + " left", "a length that the payload has room for");
        return {};
    }
    next += length;
    char const last = payload[next - 1];
    if (last != 0) {
        note(Rule::CountedTexts, false, field, begin,
             "length " + std::to_string(length) + ", its last byte is " + byteText(last), "00");
    }
    return {begin, std::string(payload.data() + begin, length - 1)};
}

PayloadReader::Text PayloadReader::text(std::string const& field)
{
    size_t const lengthAt = next;
    auto const length = static_cast<size_t>(number("length of " + field, 4));
    size_t const begin = next;
    if (failure) {
        return {};
    }
    if (length > left()) {
        fail(Rule::Texts, "length of " + field, lengthAt,
             std::to_string(length) + ", but " + countText(left()) + " left", "a length that the payload has room for");
        return {};
    }
    next += length;
    std::string const bytes(payload.data() + begin, length);
    if (left() == 0) {
        bool const counted = !bytes.empty() && bytes.back() == 0;
        note(Rule::Texts, false, field, begin, "length " + std::to_string(length) + ", and nothing behind the text",
             "a byte 00 that the length does not count", counted ? "the length counts the byte 00" : "");
    } else if (payload[next++] != 0) {
        note(Rule::Texts, false, field, begin,
             "length " + std::to_string(length) + ", the byte behind the text is " + byteText(payload[next - 1]), "00");
    }
    return {begin, bytes};
}

void PayloadReader::end()
{
    if (!failure && left() != 0) {
        note(Rule::NothingUnread, true, "what follows the last field", next, countText(left()), "nothing");
    }
}

void PayloadReader::note(Rule rule, bool isWarning, std::string const& field, size_t offset, std::string const& found,
                         std::string const& expected, std::string const& hint)
{
    noted.push_back({rule, isWarning, message, field, offset, found, expected, hint});
}

void PayloadReader::fail(Rule rule, std::string const& field, size_t where, std::string const& found,
                         std::string const& expected)
{
    note(rule, false, field, where, found, expected);
    failure = true;
}

} // namespace zelobox
