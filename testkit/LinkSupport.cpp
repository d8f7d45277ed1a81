#include "testkit/LinkSupport.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "testkit/HostStandIn.h"

namespace zelobox {

void PrintTo(Frame const& frame, std::ostream* out)
{
    size_t const limit = 64;
    size_t const size = frame.payload.size();
    std::vector<char> const shown(frame.payload.begin(),
                                  frame.payload.begin() + static_cast<ptrdiff_t>(std::min(limit, size)));
    *out << "kind " << unsigned{frame.kind} << " type " << frame.type << " length " << size << ": "
         << bytes::toHex(shown) << (size > limit ? " ..." : "");
}

} // namespace zelobox

namespace testlink {

std::atomic<int> CountedMessage::living{0};

Bytes operator+(Bytes left, Bytes const& right)
{
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

zelobox::Frame numberFrame(uint16_t type, uint32_t value)
{
    return zelobox::frameOf(IPCMessageUnsignedInt(static_cast<IPCMessageType>(type), value));
}

Bytes pattern(size_t size)
{
    Bytes result(size);
    for (size_t i = 0; i < size; ++i) {
        result[i] = static_cast<char>(i ^ i >> 8 ^ i >> 16);
    }
    return result;
}

std::vector<std::string> logged()
{
    std::vector<std::string> texts;
    for (standin::LogLine const& line : standin::logLines()) {
        if (line.level != 5) {
            texts.push_back(std::to_string(line.level) + " " + line.message);
        }
    }
    return texts;
}

std::string originOf(std::string const& message)
{
    std::vector<standin::LogLine> const found = standin::logLines(message);
    EXPECT_EQ(1U, found.size()) << message;
    if (found.empty()) {
        return "";
    }
    return std::to_string(found[0].level) + " " + std::to_string(found[0].line) + " " + found[0].file;
}

} // namespace testlink
