// Every wire case both ways, cut short, made longer, and with lies about its lengths.
#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "src/common/ByteReader.h"
#include "src/common/ByteWriter.h"
#include "testkit/Bytes.h"
#include "testkit/Vectors.h"

namespace {

using vectors::Json;
using Bytes = std::vector<char>;

bool isSent(Json const& vector)
{
    return vector["class"] != vectors::configurationClass && vector.value("way", "both") != "in";
}

bool isReceived(Json const& vector)
{
    return vector.value("way", "both") != "out";
}

Json const& outcomeOf(Json const& vector, Json const& said)
{
    return said == "whole" ? vector["fields"] : said;
}

testing::AssertionResult matches(Json const& expected, Json const& actual)
{
    bool const same = expected.is_string() && actual.is_string()
                          ? actual.get<std::string>().compare(0, expected.get<std::string>().size(), expected) == 0
                          : expected == actual;
    if (same) {
        return testing::AssertionSuccess();
    }
    return testing::AssertionFailure() << "expected " << expected << "\nactual   " << actual << "\nto be put right "
                                       << Json::diff(actual, expected);
}

/// What comes out of the first @p size bytes.
Json const& outcomeOfCut(Json const& vector, size_t size)
{
    Json const* said = nullptr;
    for (Json const& step : vector["cut"]) {
        said = step[0] <= size ? &step[1] : said;
    }
    return outcomeOf(vector, *said);
}

void expectCut(Json const& vector, Bytes const& payload)
{
    SCOPED_TRACE(testing::Message() << payload.size() << " bytes: " << bytes::toHex(payload));
    Json const actual = vectors::decode(vector, payload);
    if (vector.contains("cut")) {
        EXPECT_TRUE(matches(outcomeOfCut(vector, payload.size()), actual));
    }
}

uint32_t numberAt(Bytes const& payload, size_t offset, size_t width)
{
    ByteReader reader(payload.data() + offset, width);
    return width == 2 ? reader.u16() : reader.u32();
}

Bytes withNumber(Bytes const& payload, size_t offset, size_t width, uint32_t number)
{
    Bytes digits;
    ByteWriter(digits).u32(number);
    Bytes changed(payload);
    std::copy(digits.end() - static_cast<std::ptrdiff_t>(width), digits.end(),
              changed.begin() + static_cast<std::ptrdiff_t>(offset));
    return changed;
}

void expectLie(Json const& vector, Json const& length, uint32_t number, Json const& said)
{
    Bytes const payload = withNumber(vectors::bytesOf(vector), length["offset"], length["width"], number);
    SCOPED_TRACE(testing::Message() << length["field"] << " says " << number << ": " << bytes::toHex(payload));
    EXPECT_TRUE(matches(outcomeOf(vector, said), vectors::decode(vector, payload)));
}

void expectLies(Json const& vector, Json const& length)
{
    uint32_t const largest = length["width"] == 2 ? 0xFFFF : 0xFFFFFFFF;
    uint32_t const honest = numberAt(vectors::bytesOf(vector), length["offset"], length["width"]);
    std::set<uint32_t> const huge = {largest >> 1, largest - 3, largest};
    std::set<uint32_t> numbers = {0, 1, (honest - 1) & largest, (honest + 1) & largest};
    numbers.insert(huge.begin(), huge.end());
    for (uint32_t const number : numbers) {
        std::string const key = huge.count(number) != 0 ? "huge" : std::to_string(number);
        ASSERT_TRUE(length["put"].contains(key)) << length << " lacks " << key;
        expectLie(vector, length, number, length["put"][key]);
    }
}

} // namespace

TEST(Vectors, CoverEveryClassBothWays)
{
    std::set<std::string> sent;
    std::set<std::string> received;
    for (Json const& vector : vectors::all()) {
        std::string const name = vector["class"];
        if (isSent(vector)) {
            sent.insert(name);
        }
        if (isReceived(vector)) {
            received.insert(name);
        }
    }
    EXPECT_EQ(10U, sent.size());
    EXPECT_EQ(10U, received.size()) << "nine message classes and the configuration";
}

TEST(Encoding, GivesTheGoldenBytes)
{
    for (Json const& vector : vectors::all()) {
        if (isSent(vector)) {
            SCOPED_TRACE(vector["name"]);
            std::unique_ptr<IPCMessage> const message = vectors::messageOf(vector);
            message->serialize();
            EXPECT_SAME_BYTES(vectors::bytesOf(vector), message->payload);
            EXPECT_EQ(vector["kind"], message->headerKind);
            EXPECT_EQ(vector["type"], message->headerType);
        }
    }
}

TEST(Encoding, ReplacesWhatWasThereBefore)
{
    for (Json const& vector : vectors::all()) {
        if (isSent(vector) && vector["class"] != "IPCMessage") {
            SCOPED_TRACE(vector["name"]);
            std::unique_ptr<IPCMessage> const message = vectors::messageOf(vector);
            message->payload.assign(100, 'x');
            message->serialize();
            EXPECT_SAME_BYTES(vectors::bytesOf(vector), message->payload);
        }
    }
}

TEST(Decoding, GivesTheFieldsOfTheGoldenBytes)
{
    for (Json const& vector : vectors::all()) {
        if (isReceived(vector)) {
            SCOPED_TRACE(vector["name"]);
            EXPECT_TRUE(matches(vector["fields"], vectors::decode(vector, vectors::bytesOf(vector))));
        }
    }
}

TEST(Decoding, KeepsWhatWasCompleteBeforeTheCut)
{
    for (Json const& vector : vectors::all()) {
        if (isReceived(vector)) {
            SCOPED_TRACE(vector["name"]);
            Bytes const whole = vectors::bytesOf(vector);
            for (auto end = whole.begin(); end != whole.end(); ++end) {
                expectCut(vector, Bytes(whole.begin(), end));
            }
        }
    }
}

TEST(Decoding, TakesAFurtherByteOnlyWhereTheSizeIsOpen)
{
    for (Json const& vector : vectors::all()) {
        if (isReceived(vector)) {
            SCOPED_TRACE(vector["name"]);
            for (int const added : {0, 0xFF}) {
                Bytes longer = vectors::bytesOf(vector);
                longer.push_back(static_cast<char>(added));
                longer.shrink_to_fit();
                expectCut(vector, longer);
            }
        }
    }
}

TEST(Decoding, IsNotMisledByLengths)
{
    size_t lengths = 0;
    for (Json const& vector : vectors::all()) {
        SCOPED_TRACE(vector["name"]);
        for (Json const& length : vector.value("lengths", Json::array())) {
            expectLies(vector, length);
            ++lengths;
        }
    }
    EXPECT_GE(lengths, 30U);
}
