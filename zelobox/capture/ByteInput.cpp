#include "zelobox/capture/ByteInput.h"

#include <sstream>

#include "zelobox/capture/StreamDecoder.h"
#include "zelobox/protocol/MessageTable.h"
#include "zelobox/protocol/Pcapng.h"

namespace zelobox {

namespace {

Direction directionOf(std::vector<TraceRecord> const& records)
{
    for (TraceRecord const& record : records) {
        MessageInfo const* const info = findMessage(record.frame.type);
        if (record.event == TraceRecord::Event::Frame && info != nullptr) {
            return info->toHost ? Direction::ToHost : Direction::ToMiddleware;
        }
    }
    return Direction::ToHost;
}

} // namespace

InputFormat guessFormat(std::string const& contents)
{
    size_t const first = contents.find_first_not_of(" \t\r\n");
    if (isPcapng(contents)) {
        return InputFormat::Pcapng;
    }
    if (first == std::string::npos || contents[first] == '{') {
        return InputFormat::JsonLines;
    }
    // A stream of frames begins with "m". One that is out of step may begin with anything, but hardly consist of
    // digits.
    bool const digits = contents.find_first_not_of("0123456789abcdefABCDEF: \t\r\n") == std::string::npos;
    std::string const start = contents.substr(first, 2);
    return digits || start == "6d" || start == "6D" || start[0] == '#' ? InputFormat::Hex : InputFormat::Raw;
}

std::string bytesOfHexLines(std::string const& contents, std::string const& name)
{
    std::istringstream stream(contents);
    std::string bytes;
    unsigned number = 0;
    for (std::string line; std::getline(stream, line);) {
        ++number;
        line.erase(std::min(line.find_first_of("#\r"), line.size()));
        try {
            std::vector<char> const more = bytesOfHex(line);
            bytes.append(more.begin(), more.end());
        } catch (InputError const& error) {
            throw InputError(name + " line " + std::to_string(number) + ": " + error.what());
        }
    }
    return bytes;
}

StreamRecords recordsOfStream(std::string const& bytes, std::optional<Direction> direction)
{
    StreamRecords found;
    StreamDecoder decoder;
    decoder.append(bytes.data(), bytes.size());
    for (size_t offset = 0; std::optional<TraceRecord> record = decoder.next(true); offset = decoder.position()) {
        if (record->event == TraceRecord::Event::Raw) {
            found.problems.push_back(std::to_string(record->bytes.size()) + " bytes at offset " +
                                     std::to_string(offset) + " are no frame");
        }
        record->connection = 1;
        found.records.push_back(std::move(*record));
    }
    Direction const known = direction.value_or(directionOf(found.records));
    for (TraceRecord& record : found.records) {
        record.direction = known;
    }
    return found;
}

} // namespace zelobox
