/// @file
/// The input of a fuzzer, taken apart.
#ifndef ZELO_FUZZ_INPUT_H
#define ZELO_FUZZ_INPUT_H

#include <cstddef>
#include <cstdint>
#include <vector>

/// Reads control bytes from the front; missing ones are 0.
class Input {
public:
    Input(uint8_t const* begin, size_t size) : next(begin), left(size) {}

    uint8_t byte()
    {
        if (left == 0) {
            return 0;
        }
        --left;
        return *next++;
    }

    uint16_t word()
    {
        unsigned const high = byte();
        return static_cast<uint16_t>(high << 8 | byte());
    }

    /// @return at most @p size of what is left, on the heap and without room to spare: one byte over is seen
    std::vector<char> bytes(size_t size = SIZE_MAX)
    {
        size_t const count = size < left ? size : left;
        std::vector<char> copy(next, next + count);
        next += count;
        left -= count;
        return copy;
    }

    size_t remaining() const { return left; }

private:
    uint8_t const* next;
    size_t left;
};

#endif
