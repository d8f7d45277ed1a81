#include "zelobox/capture/JsonLinesParser.h"

#include <cmath>

#include "zelobox/protocol/FrameReader.h"

namespace zelobox {

namespace {

/// Takes what a reader needs out of a line, and builds nothing of the rest: most of a line are fields for people.
class RecordTaker final : public nlohmann::json_sax<Json> {
public:
    /// @return nothing for whatever is not quite as this program writes it
    std::optional<TraceRecord> record()
    {
        TraceRecord made;
        if (time < 0 || time > 1e12 || !hasConnection || !event.empty() || hex.empty()) {
            return std::nullopt;
        }
        if (direction != "toHost" && direction != "toMiddleware") {
            return std::nullopt;
        }
        std::optional<Frame> frame = frameFromBytes(bytesOfHex(hex));
        if (!frame) {
            return std::nullopt;
        }
        made.time = std::llround(time * 1e6);
        made.connection = connection;
        made.direction = direction == "toHost" ? Direction::ToHost : Direction::ToMiddleware;
        made.frame = std::move(*frame);
        return made;
    }

    bool null() override { return true; }
    bool boolean(bool) override { return true; }
    bool number_integer(int64_t) override { return true; }
    bool number_unsigned(uint64_t value) override
    {
        if (depth == 1 && name == "connection" && value <= UINT32_MAX) {
            connection = static_cast<unsigned>(value);
            hasConnection = true;
        } else if (depth == 1 && name == "time") {
            time = static_cast<double>(value);
        }
        return true;
    }
    bool number_float(double value, std::string const&) override
    {
        if (depth == 1 && name == "time") {
            time = value;
        }
        return true;
    }
    bool string(std::string& value) override
    {
        if (depth == 1) {
            if (name == "hex") {
                hex.swap(value);
            } else if (name == "direction") {
                direction.swap(value);
            } else if (name == "event") {
                event.swap(value);
            }
        }
        return true;
    }
    bool binary(Json::binary_t&) override { return true; }
    bool start_object(size_t) override { return ++depth > 0; }
    bool key(std::string& value) override
    {
        if (depth == 1) {
            name.swap(value);
        }
        return true;
    }
    bool end_object() override { return depth-- > 0; }
    bool start_array(size_t) override { return ++depth > 1; }
    bool end_array() override { return depth-- > 0; }
    bool parse_error(size_t, std::string const&, Json::exception const&) override { return false; }

private:
    int depth = 0;
    std::string name;
    double time = -1;
    unsigned connection = 0;
    bool hasConnection = false;
    std::string direction;
    std::string event;
    std::string hex;
};

std::optional<TraceRecord> quickRecordFrom(std::string const& line)
{
    RecordTaker taker;
    try {
        return Json::sax_parse(line, &taker) ? taker.record() : std::nullopt;
    } catch (InputError const&) {
        return std::nullopt;
    }
}

/// @throw InputError
TraceRecord recordFrom(std::string const& line, std::string const& where)
{
    Json const json = Json::parse(line, nullptr, false);
    if (json.is_discarded()) {
        throw InputError(where + ": is no JSON; expected one record of a trace on each line");
    }
    return traceRecordFrom(json, where);
}

} // namespace

void JsonLinesParser::append(char const* bytes, size_t size)
{
    buffer.erase(0, begin);
    begin = 0;
    buffer.append(bytes, size);
}

std::optional<TraceRecord> JsonLinesParser::next(bool atEnd)
{
    while (std::optional<std::string> const line = nextLine(atEnd)) {
        ++number;
        if (line->find_first_not_of(" \t\r") == std::string::npos) {
            continue;
        }
        if (std::optional<TraceRecord> record = quickRecordFrom(*line)) {
            return record;
        }
        try {
            return recordFrom(*line, name + " line " + std::to_string(number));
        } catch (InputError const& error) {
            onProblem(error.what());
        }
    }
    return std::nullopt;
}

std::optional<std::string> JsonLinesParser::nextLine(bool atEnd)
{
    size_t const end = buffer.find('\n', begin);
    if (end == std::string::npos && (!atEnd || begin == buffer.size())) {
        return std::nullopt;
    }
    std::string line = buffer.substr(begin, end == std::string::npos ? end : end - begin);
    begin = end == std::string::npos ? buffer.size() : end + 1;
    return line;
}

} // namespace zelobox
