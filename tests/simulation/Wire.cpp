#include "tests/simulation/Wire.h"

#include <stdexcept>

namespace simulation {

namespace {

size_t const headerSize = 8;
char const sync = 0x6D;

std::string countedText(std::string const& text)
{
    return bigEndian(text.size() + 1, 2) + text + '\0';
}

} // namespace

std::string bigEndian(uint64_t value, size_t width)
{
    std::string bytes;
    for (size_t i = 0; i < width; ++i) {
        bytes += static_cast<char>(value >> (width - 1 - i) * 8);
    }
    return bytes;
}

uint64_t numberOf(std::string const& bytes, size_t offset, size_t width)
{
    uint64_t value = 0;
    for (size_t i = 0; i < width; ++i) {
        value = value << 8 | static_cast<uint8_t>(bytes.at(offset + i));
    }
    return value;
}

bool takeFrame(std::string& bytes, Frame& frame)
{
    if (!bytes.empty() && bytes[0] != sync) {
        throw std::runtime_error("a frame begins with " + std::to_string(static_cast<uint8_t>(bytes[0])));
    }
    if (bytes.size() < headerSize) {
        return false;
    }
    size_t const length = numberOf(bytes, 4, 4);
    if (bytes.size() - headerSize < length) {
        return false;
    }
    frame = {static_cast<uint8_t>(bytes[1]), static_cast<uint16_t>(numberOf(bytes, 2, 2)),
             bytes.substr(headerSize, length)};
    bytes.erase(0, headerSize + length);
    return true;
}

std::string encode(Frame const& frame)
{
    return sync + bigEndian(frame.kind, 1) + bigEndian(frame.type, 2) + bigEndian(frame.payload.size(), 4) +
           frame.payload;
}

std::string configuration(std::string const& language, std::string const& portal)
{
    return bigEndian(0, 1) + std::string("\x0A\x1B\x2C\x3D\x4E\x5F", 6) + bigEndian(1920, 2) + bigEndian(1080, 2) +
           bigEndian(1, 1) + bigEndian(720, 2) + bigEndian(576, 2) + countedText("box") + countedText(language) +
           countedText(portal) + countedText("first") + bigEndian(3, 1) + countedText("second");
}

} // namespace simulation
