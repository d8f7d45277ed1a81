/// @file
/// A file or the standard input, read as it comes.
#ifndef ZELO_ZELOBOX_INPUTFILE_H
#define ZELO_ZELOBOX_INPUTFILE_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "zelobox/protocol/Peer.h"

namespace zelobox {

/// Gives what there is instead of waiting for more, and unpacks what gzip has packed.
class InputFile {
public:
    /// @param path  "-" for the standard input
    /// @throw InputError
    explicit InputFile(std::string const& path);
    ~InputFile();
    InputFile(InputFile const&) = delete;
    InputFile& operator=(InputFile const&) = delete;

    /// Waits until there is something.
    ///
    /// @return the number of bytes; 0 at the end
    /// @throw InputError
    size_t read(char* bytes, size_t size);

    /// @return whether read() would not have to wait
    bool isReady() const;

    int descriptor() const { return fd; }

    /// @return 0 to 1; nothing when the length of the file is not known
    std::optional<double> shareRead() const;

    /// @return the path, or "the standard input"
    std::string const& name() const { return title; }

private:
    class Unpacker;

    size_t readRaw(char* bytes, size_t size);

    Descriptor file;
    int const fd;
    std::string const title;
    uint64_t rawCount = 0;
    bool isBegun = false;
    std::vector<char> start; ///< read to see what it is, and not given yet
    std::unique_ptr<Unpacker> unpacker;
};

} // namespace zelobox

#endif
