/// @file
/// The one reader of everything that arrives from the middleware.
#ifndef ZELO_COMMON_BYTEREADER_H
#define ZELO_COMMON_BYTEREADER_H

#include <stddef.h>
#include <stdint.h>
#include <string.h>

#include <algorithm>
#include <atomic>
#include <string>
#include <vector>

/// Reads big-endian fields one after another and never beyond the end.
///
/// The first field that is not all there fails, and so does every field after it: a decoder reads its fields in order
/// and asks once, at the end. Failed fields read as 0 or as an empty text. The bytes belong to the caller.
class ByteReader {
public:
    /// @param abandonFlag  set by another thread to make failed() true; may be null
    ByteReader(char const* bytes, size_t size, std::atomic<bool> const* abandonFlag = nullptr)
        : next(bytes), left(size), abandoned(abandonFlag)
    {
    }
    explicit ByteReader(std::vector<char> const& bytes, std::atomic<bool> const* abandonFlag = nullptr)
        : ByteReader(bytes.data(), bytes.size(), abandonFlag)
    {
    }

    /// A decoder of something long asks again and again: this is where an abandoned one ends.
    bool failed() const { return failure || (abandoned != nullptr && abandoned->load(std::memory_order_relaxed)); }
    size_t remaining() const { return left; }

    uint8_t u8() { return static_cast<uint8_t>(number(1)); }
    uint16_t u16() { return static_cast<uint16_t>(number(2)); }
    uint32_t u32() { return static_cast<uint32_t>(number(4)); }
    uint64_t u64() { return number(8); }

    __attribute__((noinline)) std::string text(size_t length)
    {
        size_t const mostAtOnce = size_t{1024} * 1024; // so that the flag is looked at in a text of any size
        std::string result;
        failure = failure || length > left;
        if (!failure) {
            result.reserve(length);
        }
        while (result.size() < length && !failed()) {
            size_t const step = std::min(length - result.size(), mostAtOnce);
            if (char const* const begin = take(step)) {
                result.append(begin, step);
            }
        }
        return result;
    }

    /// Copies the next @p size bytes as they are, if they are all there.
    void raw(void* target, size_t size)
    {
        char const* const begin = take(size);
        if (begin != nullptr) {
            memcpy(target, begin, size);
        }
    }

    /// Fails on behalf of a decoder that has found a field it cannot accept.
    void fail() { failure = true; }

    void skip(size_t count) { static_cast<void>(take(count)); }

private:
    /// @return the next @p count bytes, null if they are not all there
    char const* take(size_t count)
    {
        failure = failure || count > left;
        if (failure) {
            return nullptr;
        }
        char const* const begin = next;
        next += count;
        left -= count;
        return begin;
    }

    uint64_t number(size_t width)
    {
        char const* const begin = take(width);
        uint64_t value = 0;
        for (size_t i = 0; begin != nullptr && i < width; ++i) {
            value = value << 8 | static_cast<uint8_t>(begin[i]);
        }
        return value;
    }

    char const* next;
    size_t left;
    std::atomic<bool> const* abandoned;
    bool failure = false;
};

#endif
