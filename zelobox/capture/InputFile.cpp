#include "zelobox/capture/InputFile.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#ifdef ZELOBOX_UNPACKS
#include <zlib.h>
#endif

#include "zelobox/protocol/Json.h"

namespace zelobox {

namespace {

char const gzipMagic[] = "\x1F\x8B";

} // namespace

#ifdef ZELOBOX_UNPACKS

/// Unpacks any number of members, one behind the other, as gzip does.
class InputFile::Unpacker {
public:
    Unpacker() { inflateInit2(&stream, 16 + MAX_WBITS); }
    ~Unpacker() { inflateEnd(&stream); }
    Unpacker(Unpacker const&) = delete;
    Unpacker& operator=(Unpacker const&) = delete;

    bool needsInput() const { return stream.avail_in == 0; }

    void give(std::vector<char> bytes)
    {
        packed = std::move(bytes);
        stream.next_in = reinterpret_cast<Bytef*>(packed.data());
        stream.avail_in = static_cast<uInt>(packed.size());
    }

    /// @return the number of bytes, 0 when more input is needed. @throw InputError
    size_t take(char* bytes, size_t size, std::string const& name)
    {
        stream.next_out = reinterpret_cast<Bytef*>(bytes);
        stream.avail_out = static_cast<uInt>(size);
        int const result = inflate(&stream, Z_NO_FLUSH);
        if (result == Z_STREAM_END) {
            inflateReset(&stream);
        } else if (result != Z_OK && result != Z_BUF_ERROR) {
            throw InputError(name + ": what gzip has packed is damaged");
        }
        return size - stream.avail_out;
    }

private:
    z_stream stream = {};
    std::vector<char> packed;
};

#else

class InputFile::Unpacker {
public:
    bool needsInput() const { return false; }
    void give(std::vector<char> const&) {}
    size_t take(char*, size_t, std::string const& name)
    {
        throw InputError(name + ": is packed, and this program cannot unpack; use gunzip");
    }
};

#endif

InputFile::InputFile(std::string const& path)
    : file(path == "-" ? -1 : open(path.c_str(), O_RDONLY | O_CLOEXEC)), fd(path == "-" ? STDIN_FILENO : file.get()),
      title(path == "-" ? "the standard input" : path)
{
    if (fd < 0) {
        throw InputError(title + ": cannot be read: " + std::strerror(errno));
    }
}

InputFile::~InputFile() = default;

size_t InputFile::read(char* bytes, size_t size)
{
    if (!isBegun) {
        isBegun = true;
        start.resize(2);
        size_t have = 0;
        for (size_t count = 1; have < start.size() && count > 0; have += count) {
            count = readRaw(start.data() + have, start.size() - have);
        }
        start.resize(have);
        if (have == 2 && std::equal(start.begin(), start.end(), gzipMagic)) {
            unpacker = std::make_unique<Unpacker>();
            unpacker->give(std::move(start));
            start.clear();
        }
    }
    if (!unpacker) {
        size_t const count = std::min(size, start.size());
        std::copy_n(start.begin(), count, bytes);
        start.erase(start.begin(), start.begin() + static_cast<std::ptrdiff_t>(count));
        bool const isMore = count < size && (count == 0 || isReady());
        return count + (isMore ? readRaw(bytes + count, size - count) : 0);
    }
    for (;;) {
        size_t const count = unpacker->take(bytes, size, title);
        if (count > 0 || !unpacker->needsInput()) {
            return count;
        }
        std::vector<char> packed(65536);
        packed.resize(readRaw(packed.data(), packed.size()));
        if (packed.empty()) {
            return 0;
        }
        unpacker->give(std::move(packed));
    }
}

bool InputFile::isReady() const
{
    pollfd entry = {fd, POLLIN, 0};
    return !start.empty() || poll(&entry, 1, 0) > 0;
}

std::optional<double> InputFile::shareRead() const
{
    struct stat status = {};
    if (fstat(fd, &status) != 0 || !S_ISREG(status.st_mode) || status.st_size == 0) {
        return std::nullopt;
    }
    return std::min(1.0, static_cast<double>(rawCount) / static_cast<double>(status.st_size));
}

size_t InputFile::readRaw(char* bytes, size_t size)
{
    for (;;) {
        ssize_t const count = ::read(fd, bytes, size);
        if (count >= 0) {
            rawCount += static_cast<uint64_t>(count);
            return static_cast<size_t>(count);
        }
        if (errno != EINTR) {
            throw InputError(title + ": cannot be read: " + std::strerror(errno));
        }
    }
}

} // namespace zelobox
