/// @file
/// JSON that people write: read field by field, with errors that say where and what.
#ifndef ZELO_ZELOBOX_JSON_H
#define ZELO_ZELOBOX_JSON_H

#include <cstdint>
#include <limits>
#include <nlohmann/json.hpp>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

namespace zelobox {

/// Keeps the order of its fields, which is the order of the payload.
using Json = nlohmann::ordered_json;

/// Something that a person has written is wrong; the text says where, what, and what would be right.
class InputError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// @return one line of JSON that does nothing to a terminal; bytes that are no UTF-8 are replaced
std::string lineOf(Json const& value);

/// @return "a=1 b="text"": the fields of an object for people
std::string fieldsText(Json const& object);

/// @return "6d01001a", two digits a byte
std::string hexOf(std::vector<char> const& bytes);
/// Blanks and colons between bytes are allowed. @throw InputError
std::vector<char> bytesOfHex(std::string const& text);

/// Reads the fields of one object and notices those that nobody has asked for.
///
/// The operations without a fallback throw InputError when the field is missing; all do when it has another type or
/// does not fit.
class JsonFields {
public:
    /// @param description  names the object in errors: "demo.jsonl line 7"
    /// @throw InputError if @p value is no object
    JsonFields(Json const& value, std::string description);

    bool has(std::string const& name);
    uint64_t number(std::string const& name, uint64_t maximum);
    uint64_t number(std::string const& name, uint64_t maximum, uint64_t fallback);
    template <typename Integer> void readNumber(std::string const& name, Integer& target)
    {
        target = static_cast<Integer>(number(name, std::numeric_limits<Integer>::max(), target));
    }
    std::string text(std::string const& name);
    std::string text(std::string const& name, std::string const& fallback);
    bool flag(std::string const& name, bool fallback);
    /// A text of hexadecimal digits.
    std::vector<char> bytes(std::string const& name);
    Json const& value(std::string const& name);
    /// Lists; a missing one is empty.
    Json list(std::string const& name);
    std::vector<uint64_t> numbers(std::string const& name, uint64_t maximum);
    std::vector<std::string> texts(std::string const& name);

    /// @throw InputError if there is a field that was not asked for
    void end() const;

    /// @throw InputError
    [[noreturn]] void fail(std::string const& name, std::string const& problem) const;
    std::string const& where() const { return place; }

private:
    Json const& object;
    std::string place;
    std::set<std::string> known;
};

} // namespace zelobox

#endif
