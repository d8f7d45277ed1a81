#include "zelobox/capture/TraceReading.h"

namespace zelobox {

namespace {

size_t const partSize = 65536;

/// @throw InputError for whatever is wrong
void failFor(std::string const& problem)
{
    throw InputError(problem);
}

} // namespace

TraceReader::TraceReader(std::string const& path, TraceForm const& knownForm, OnProblem problemTaker)
    : file(path), form(knownForm), onProblem(std::move(problemTaker)), part(partSize)
{
}

std::optional<TraceRecord> TraceReader::next(std::function<void()> const& onPause)
{
    for (;;) {
        if (std::optional<TraceRecord> record = parser ? parser->next(atEnd) : std::nullopt) {
            return record;
        }
        if (atEnd) {
            return std::nullopt;
        }
        if (onPause && !file.isReady()) {
            onPause();
        }
        append();
    }
}

bool TraceReader::readSome(std::function<void(TraceRecord const&)> const& onRecord)
{
    append();
    while (std::optional<TraceRecord> const record = parser ? parser->next(atEnd) : std::nullopt) {
        onRecord(*record);
    }
    return !atEnd;
}

void TraceReader::append()
{
    size_t const count = file.read(part.data(), part.size());
    atEnd = count == 0;
    if (parser) {
        parser->append(part.data(), count);
        return;
    }
    start.append(part.data(), count);
    if (std::optional<InputFormat> const format = form.format ? form.format : formatFrom(start, atEnd)) {
        parser = traceParser(*format, file.name(), form.direction, onProblem);
        parser->append(start.data(), start.size());
        start = std::string();
    }
}

std::vector<TraceRecord> readTrace(std::string const& path)
{
    TraceReader reader(path, {}, failFor);
    std::vector<TraceRecord> records;
    while (std::optional<TraceRecord> record = reader.next()) {
        records.push_back(std::move(*record));
    }
    return records;
}

void readTrace(std::string const& contents, std::string const& name, TraceFormat format,
               std::function<void(TraceRecord const&)> const& onRecord)
{
    bool const isPcapng = format == TraceFormat::Pcapng;
    auto const parser = traceParser(isPcapng ? InputFormat::Pcapng : InputFormat::JsonLines, name, {}, failFor);
    parser->append(contents.data(), contents.size());
    while (std::optional<TraceRecord> const record = parser->next(true)) {
        onRecord(*record);
    }
}

} // namespace zelobox
