#include "zelobox/capture/TraceParser.h"

#include <algorithm>
#include <deque>

#include "zelobox/capture/JsonLinesParser.h"
#include "zelobox/capture/StreamDecoder.h"
#include "zelobox/protocol/MessageTable.h"
#include "zelobox/protocol/Pcapng.h"

namespace zelobox {

namespace {

/// So much is kept back until a known message tells the direction.
size_t const mostUndirected = 4096;

/// The bytes of one direction.
class BytesParser final : public TraceParser {
public:
    BytesParser(std::string fileName, std::optional<Direction> known, OnProblem problemTaker)
        : name(std::move(fileName)), direction(known), onProblem(std::move(problemTaker))
    {
    }

    void append(char const* bytes, size_t size) override { decoder.append(bytes, size); }

    std::optional<TraceRecord> next(bool atEnd) override
    {
        while (waiting.empty() || !direction) {
            size_t const offset = decoder.position();
            std::optional<TraceRecord> record = decoder.next(atEnd);
            if (!record) {
                break;
            }
            take(std::move(*record), offset);
        }
        if (waiting.empty() || (!direction && !atEnd)) {
            return std::nullopt;
        }
        TraceRecord record = std::move(waiting.front());
        waiting.pop_front();
        record.direction = direction.value_or(Direction::ToHost);
        return record;
    }

private:
    void take(TraceRecord record, size_t offset)
    {
        if (record.event == TraceRecord::Event::Raw) {
            onProblem(name + ": " + std::to_string(record.bytes.size()) + " bytes at offset " + std::to_string(offset) +
                      " are no frame");
        } else if (MessageInfo const* const info = findMessage(record.frame.type); info != nullptr && !direction) {
            direction = info->toHost ? Direction::ToHost : Direction::ToMiddleware;
        }
        record.connection = 1;
        waiting.push_back(std::move(record));
        if (!direction && waiting.size() > mostUndirected) {
            direction = Direction::ToHost;
        }
    }

    std::string const name;
    std::optional<Direction> direction;
    OnProblem const onProblem;
    StreamDecoder decoder;
    std::deque<TraceRecord> waiting;
};

/// Hexadecimal digits in lines; "#" begins a comment.
class HexParser final : public TraceParser {
public:
    HexParser(std::string const& fileName, std::optional<Direction> known, OnProblem problemTaker)
        : name(fileName), parser(fileName, known, problemTaker), onProblem(std::move(problemTaker))
    {
    }

    void append(char const* bytes, size_t size) override { buffer.append(bytes, size); }

    std::optional<TraceRecord> next(bool atEnd) override
    {
        size_t begin = 0;
        for (size_t end = lineEnd(begin, atEnd); end > begin; end = lineEnd(begin, atEnd)) {
            take(buffer.substr(begin, end - begin));
            begin = end;
        }
        buffer.erase(0, begin);
        return parser.next(atEnd);
    }

private:
    /// @return behind the line that begins at @p begin, or @p begin itself
    size_t lineEnd(size_t begin, bool atEnd) const
    {
        size_t const found = buffer.find('\n', begin);
        return found != std::string::npos ? found + 1 : atEnd ? buffer.size() : begin;
    }

    void take(std::string line)
    {
        ++number;
        line.erase(std::min(line.find_first_of("#\r\n"), line.size()));
        try {
            std::vector<char> const bytes = bytesOfHex(line);
            parser.append(bytes.data(), bytes.size());
        } catch (InputError const& error) {
            onProblem(name + " line " + std::to_string(number) + ": " + error.what());
        }
    }

    std::string const name;
    BytesParser parser;
    OnProblem const onProblem;
    std::string buffer;
    unsigned number = 0;
};

class PacketsParser final : public TraceParser {
public:
    PacketsParser(std::string const& name, OnProblem onProblem) : reader(name, std::move(onProblem)) {}

    void append(char const* bytes, size_t size) override { reader.append(bytes, size); }
    std::optional<TraceRecord> next(bool atEnd) override { return reader.next(atEnd); }

private:
    PacketRecords reader;
};

} // namespace

std::unique_ptr<TraceParser> traceParser(InputFormat format, std::string const& name,
                                         std::optional<Direction> direction, OnProblem onProblem)
{
    switch (format) {
    case InputFormat::Raw:
        return std::make_unique<BytesParser>(name, direction, std::move(onProblem));
    case InputFormat::Hex:
        return std::make_unique<HexParser>(name, direction, std::move(onProblem));
    case InputFormat::JsonLines:
        return std::make_unique<JsonLinesParser>(name, std::move(onProblem));
    case InputFormat::Pcapng:
        break;
    }
    return std::make_unique<PacketsParser>(name, std::move(onProblem));
}

std::optional<InputFormat> formatFrom(std::string const& start, bool atEnd)
{
    static size_t const enough = 64;
    if (isPcapng(start) || isClassicPcap(start)) {
        return InputFormat::Pcapng;
    }
    size_t const first = start.find_first_not_of(" \t\r\n");
    bool const isClear = first != std::string::npos && (start[first] == '{' || start[first] == 'm');
    bool const hasLine = first != std::string::npos && start.find('\n', first) != std::string::npos;
    if (!atEnd && !isClear && !hasLine && start.size() < enough) {
        return std::nullopt;
    }
    return guessFormat(start);
}

} // namespace zelobox
