/// @file
/// Byte vectors as text, and a comparison that shows where two of them differ.
#ifndef ZELO_TESTKIT_BYTES_H
#define ZELO_TESTKIT_BYTES_H

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace bytes {

/// @param digits  pairs of hexadecimal digits, with or without blanks between the pairs
/// @throw std::invalid_argument
std::vector<char> fromHex(std::string const& digits);

/// @return "00 1A FF"
std::string toHex(std::vector<char> const& bytes);

/// For EXPECT_PRED_FORMAT2: a failure shows both, the differing bytes marked.
testing::AssertionResult same(char const* expectedText, char const* actualText, std::vector<char> const& expected,
                              std::vector<char> const& actual);

} // namespace bytes

#define EXPECT_SAME_BYTES(expected, actual) EXPECT_PRED_FORMAT2(bytes::same, expected, actual)

#endif
