#include "zelobox/protocol/Json.h"

#include "zelobox/base/Printable.h"

namespace zelobox {

namespace {

/// @return -1 for what is no hexadecimal digit
int digitOf(char character)
{
    if (character >= '0' && character <= '9') {
        return character - '0';
    }
    char const lower = static_cast<char>(character | 0x20);
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

} // namespace

std::string lineOf(Json const& value)
{
    return printable(value.dump(-1, ' ', false, Json::error_handler_t::replace));
}

std::string fieldsText(Json const& object)
{
    std::string text;
    for (auto const& field : object.items()) {
        text += (text.empty() ? "" : " ") + field.key() + "=" + lineOf(field.value());
    }
    return text;
}

std::string hexOf(std::vector<char> const& bytes)
{
    static char const digits[] = "0123456789abcdef";
    std::string text;
    text.reserve(bytes.size() * 2);
    for (char const byte : bytes) {
        text += digits[static_cast<uint8_t>(byte) >> 4];
        text += digits[byte & 0x0F];
    }
    return text;
}

std::vector<char> bytesOfHex(std::string const& text)
{
    std::vector<char> bytes;
    bytes.reserve(text.size() / 2);
    bool isHalf = false;
    for (char const character : text) {
        int const digit = digitOf(character);
        if (digit >= 0 && isHalf) {
            bytes.back() = static_cast<char>(bytes.back() | digit);
        } else if (digit >= 0) {
            bytes.push_back(static_cast<char>(digit << 4));
        } else if (character != ' ' && character != ':') {
            throw InputError("\"" + text + "\" is not hexadecimal");
        }
        isHalf = digit >= 0 ? !isHalf : isHalf;
    }
    if (isHalf) {
        throw InputError("\"" + text + "\" has half a byte");
    }
    return bytes;
}

JsonFields::JsonFields(Json const& value, std::string description) : object(value), place(std::move(description))
{
    if (!object.is_object()) {
        throw InputError(place + ": expected an object in braces, found " + lineOf(object));
    }
}

bool JsonFields::has(std::string const& name)
{
    known.insert(name);
    return object.contains(name);
}

uint64_t JsonFields::number(std::string const& name, uint64_t maximum)
{
    Json const& found = value(name);
    if (!found.is_number_unsigned() || found.get<uint64_t>() > maximum) {
        fail(name, "expected a whole number from 0 to " + std::to_string(maximum) + ", found " + lineOf(found));
    }
    return found.get<uint64_t>();
}

uint64_t JsonFields::number(std::string const& name, uint64_t maximum, uint64_t fallback)
{
    return has(name) ? number(name, maximum) : fallback;
}

std::string JsonFields::text(std::string const& name)
{
    Json const& found = value(name);
    if (!found.is_string()) {
        fail(name, "expected a text in quotes, found " + lineOf(found));
    }
    return found.get<std::string>();
}

std::string JsonFields::text(std::string const& name, std::string const& fallback)
{
    return has(name) ? text(name) : fallback;
}

bool JsonFields::flag(std::string const& name, bool fallback)
{
    if (!has(name)) {
        return fallback;
    }
    Json const& found = value(name);
    if (!found.is_boolean()) {
        fail(name, "expected true or false, found " + lineOf(found));
    }
    return found.get<bool>();
}

std::vector<char> JsonFields::bytes(std::string const& name)
{
    std::string const digits = text(name);
    try {
        return bytesOfHex(digits);
    } catch (InputError const& error) {
        fail(name, error.what());
    }
}

Json const& JsonFields::value(std::string const& name)
{
    if (!has(name)) {
        fail(name, "is missing");
    }
    return object[name];
}

Json JsonFields::list(std::string const& name)
{
    Json found = has(name) ? value(name) : Json::array();
    if (!found.is_array()) {
        fail(name, "expected a list in brackets, found " + lineOf(found));
    }
    return found;
}

std::vector<uint64_t> JsonFields::numbers(std::string const& name, uint64_t maximum)
{
    std::vector<uint64_t> numbers;
    for (Json const& element : list(name)) {
        if (!element.is_number_unsigned() || element.get<uint64_t>() > maximum) {
            fail(name, "expected whole numbers from 0 to " + std::to_string(maximum) + ", found " + lineOf(element));
        }
        numbers.push_back(element.get<uint64_t>());
    }
    return numbers;
}

std::vector<std::string> JsonFields::texts(std::string const& name)
{
    std::vector<std::string> texts;
    for (Json const& element : list(name)) {
        if (!element.is_string()) {
            fail(name, "expected texts in quotes, found " + lineOf(element));
        }
        texts.push_back(element.get<std::string>());
    }
    return texts;
}

void JsonFields::end() const
{
    for (auto const& field : object.items()) {
        if (known.count(field.key()) == 0) {
            std::string names;
            for (std::string const& name : known) {
                names += (names.empty() ? "" : ", ") + name;
            }
            fail(field.key(), "is unknown here; known are: " + names);
        }
    }
}

void JsonFields::fail(std::string const& name, std::string const& problem) const
{
    throw InputError(place + ": field \"" + name + "\": " + problem);
}

} // namespace zelobox
