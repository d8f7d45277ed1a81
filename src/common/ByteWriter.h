/// @file
/// The one writer of everything that goes to the middleware.
#ifndef ZELO_COMMON_BYTEWRITER_H
#define ZELO_COMMON_BYTEWRITER_H

#include <stddef.h>
#include <stdint.h>

#include <string>
#include <vector>

/// Encodes @p value big-endian into the @p width bytes at @p bytes; 8 at most.
inline void writeNumber(uint64_t value, char* bytes, size_t width)
{
    for (size_t i = 0; i < width; ++i) {
        bytes[i] = static_cast<char>(value >> (width - 1 - i) * 8);
    }
}

/// Writes big-endian fields one after another into room that belongs to the caller and suffices.
class AreaWriter {
public:
    explicit AreaWriter(char* begin) : next(begin) {}

    void u8(uint8_t value) { number(value, 1); }
    void u16(uint16_t value) { number(value, 2); }
    void u32(uint32_t value) { number(value, 4); }

private:
    void number(uint64_t value, size_t width)
    {
        writeNumber(value, next, width);
        next += width;
    }

    char* next;
};

/// Appends big-endian fields to a byte vector that belongs to the caller.
class ByteWriter {
public:
    explicit ByteWriter(std::vector<char>& target) : bytes(target) {}

    void u8(uint8_t value) { number(value, 1); }
    void u16(uint16_t value) { number(value, 2); }
    void u32(uint32_t value) { number(value, 4); }
    void u64(uint64_t value) { number(value, 8); }
    void raw(void const* begin, size_t size)
    {
        char const* const first = static_cast<char const*>(begin);
        bytes.insert(bytes.end(), first, first + size);
    }

private:
    void number(uint64_t value, size_t width)
    {
        char digits[sizeof value] = {};
        writeNumber(value, digits, width);
        raw(digits, width);
    }

    std::vector<char>& bytes;
};

#endif
