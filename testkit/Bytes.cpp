#include "testkit/Bytes.h"

#include <ctype.h>

#include <algorithm>
#include <stdexcept>

namespace bytes {

namespace {

size_t const bytesPerRow = 16;

std::string row(std::vector<char> const& bytes, size_t begin)
{
    size_t const first = std::min(begin, bytes.size());
    size_t const last = std::min(begin + bytesPerRow, bytes.size());
    auto const at = [&](size_t index) { return bytes.begin() + static_cast<std::ptrdiff_t>(index); };
    return toHex(std::vector<char>(at(first), at(last)));
}

bool differ(std::vector<char> const& one, std::vector<char> const& other, size_t index)
{
    return index >= one.size() || index >= other.size() || one[index] != other[index];
}

std::string marks(std::vector<char> const& one, std::vector<char> const& other, size_t begin)
{
    std::string text;
    for (size_t i = begin; i < std::min(begin + bytesPerRow, std::max(one.size(), other.size())); ++i) {
        text += differ(one, other, i) ? "^^ " : "   ";
    }
    text.erase(text.find_last_not_of(' ') + 1);
    return text;
}

} // namespace

std::vector<char> fromHex(std::string const& digits)
{
    std::string packed;
    std::copy_if(digits.begin(), digits.end(), std::back_inserter(packed), [](char c) { return c != ' '; });
    bool const valid = packed.size() % 2 == 0 && std::all_of(packed.begin(), packed.end(), [](char c) {
                           return isxdigit(static_cast<unsigned char>(c)) != 0;
                       });
    if (!valid) {
        throw std::invalid_argument("not hexadecimal: " + digits);
    }
    std::vector<char> result;
    for (size_t i = 0; i < packed.size(); i += 2) {
        result.push_back(static_cast<char>(std::stoi(packed.substr(i, 2), nullptr, 16)));
    }
    return result;
}

std::string toHex(std::vector<char> const& bytes)
{
    static char const digits[] = "0123456789ABCDEF";
    std::string text;
    for (char const byte : bytes) {
        unsigned const value = static_cast<unsigned char>(byte);
        text += text.empty() ? "" : " ";
        text += digits[value >> 4];
        text += digits[value & 15];
    }
    return text;
}

testing::AssertionResult same(char const* expectedText, char const* actualText, std::vector<char> const& expected,
                              std::vector<char> const& actual)
{
    if (expected == actual) {
        return testing::AssertionSuccess();
    }
    testing::AssertionResult result = testing::AssertionFailure();
    result << expectedText << " and " << actualText << " differ, " << expected.size() << " and " << actual.size()
           << " bytes";
    for (size_t begin = 0; begin < std::max(expected.size(), actual.size()); begin += bytesPerRow) {
        result << "\n  offset " << begin << "\n    expected " << row(expected, begin) << "\n    actual   "
               << row(actual, begin) << "\n             " << marks(expected, actual, begin);
    }
    return result;
}

} // namespace bytes
