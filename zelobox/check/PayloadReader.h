/// @file
/// A reader of payloads, field by field, that notes where they are not as the protocol says.
#ifndef ZELO_ZELOBOX_PAYLOADREADER_H
#define ZELO_ZELOBOX_PAYLOADREADER_H

#include "zelobox/check/Finding.h"
#include "zelobox/protocol/Peer.h"

namespace zelobox {

/// After a field that is not all there every later one reads as nothing, and nothing more is noted.
class PayloadReader {
public:
    struct Text {
        size_t offset = 0; ///< of its first byte
        std::string bytes;
    };

    PayloadReader(std::string messageName, std::vector<char> const& bytes)
        : message(std::move(messageName)), payload(bytes)
    {
    }

    /// Big-endian.
    uint64_t number(std::string const& field, size_t width);
    void skip(std::string const& field, size_t size) { static_cast<void>(take(field, size)); }
    /// Its length, in 16 bits, counts the byte 0 behind it.
    Text countedText(std::string const& field);
    /// Its length, in 32 bits, does not count the byte 0 behind it.
    Text text(std::string const& field);
    /// Notes what lies behind the last field.
    void end();

    /// Notes something about a field that has been read.
    void note(Rule rule, bool isWarning, std::string const& field, size_t offset, std::string const& found,
              std::string const& expected, std::string const& hint = "");

    size_t offset() const { return next; }
    bool failed() const { return failure; }
    Findings& findings() { return noted; }

private:
    char const* take(std::string const& field, size_t size);
    void fail(Rule rule, std::string const& field, size_t where, std::string const& found, std::string const& expected);
    size_t left() const { return payload.size() - next; }

    std::string const message;
    std::vector<char> const& payload;
    size_t next = 0;
    bool failure = false;
    Findings noted;
};

/// @return "'v'" or "0a"
std::string byteText(char byte);
/// @return "1 byte", "2 bytes"
std::string countText(size_t count);

} // namespace zelobox

#endif
