// Counts that promise more than there is, over long lists: what is there comes out, and what is not costs nothing.
#include <gtest/gtest.h>

#include "src/common/ByteWriter.h"
#include "testkit/Vectors.h"

namespace {

using vectors::Json;

/// @return a payload that begins with @p count and goes on with @p copies of @p element
std::vector<char> listOf(uint32_t count, size_t copies, std::vector<char> const& element)
{
    std::vector<char> payload;
    ByteWriter(payload).u32(count);
    for (size_t i = 0; i < copies; ++i) {
        payload.insert(payload.end(), element.begin(), element.end());
    }
    return payload;
}

size_t decodedElements(Json const& vector, std::string const& field, std::vector<char> const& payload)
{
    return vectors::decode(vector, payload)[field].size();
}

uint32_t const lies[] = {5000, 5001, 0x3FFFFFFF, 0x40000000, 0x7FFFFFFF, 0xFFFFFFFC, 0xFFFFFFFF};

} // namespace

TEST(LongLists, OfNumbersTakeMemoryForWhatIsThere)
{
    Json const vector = {{"class", "IPCMessageUnsignedIntArray"}, {"kind", 3}, {"type", 25}};
    for (uint32_t const count : lies) {
        EXPECT_EQ(5000U, decodedElements(vector, "values", listOf(count, 5000, {1, 2, 3, 4}))) << count;
    }
}

TEST(LongLists, OfTextsTakeMemoryForWhatIsThere)
{
    Json const vector = {{"class", "IPCMessageStringArray"}, {"kind", 5}, {"type", 27}};
    for (uint32_t const count : lies) {
        EXPECT_EQ(5000U, decodedElements(vector, "strings", listOf(count, 5000, {0, 0, 0, 0, 0}))) << count;
    }
}

TEST(LongLists, OfTextsTakeMemoryForTheirBytesOnce)
{
    Json const vector = {{"class", "IPCMessageStringArray"}, {"kind", 5}, {"type", 27}};
    std::vector<char> element = {0, 0, 1, 0};
    element.resize(4 + 256 + 1, 'x');
    EXPECT_EQ(5000U, decodedElements(vector, "strings", listOf(5000, 5000, element)));
}
