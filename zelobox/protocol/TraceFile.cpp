#include "zelobox/protocol/TraceFile.h"

#include <cerrno>
#include <cstring>
#include <iostream>
#include <sstream>

#include "zelobox/protocol/Pcapng.h"

namespace zelobox {

namespace {

using OnRecord = std::function<void(TraceRecord const&)>;

void readJsonLines(std::string const& contents, std::string const& name, OnRecord const& onRecord)
{
    std::istringstream stream(contents);
    unsigned number = 0;
    for (std::string line; std::getline(stream, line);) {
        std::string const where = name + " line " + std::to_string(++number);
        if (line.find_first_not_of(" \t\r") == std::string::npos) {
            continue;
        }
        Json const json = Json::parse(line, nullptr, false);
        if (json.is_discarded()) {
            throw InputError(where + ": is no JSON; expected one record of a trace on each line");
        }
        onRecord(traceRecordFrom(json, where));
    }
}

} // namespace

TraceFormat traceFormatOf(std::string const& path)
{
    static std::string const suffix = ".pcapng";
    bool const ends =
        path.size() >= suffix.size() && path.compare(path.size() - suffix.size(), suffix.size(), suffix) == 0;
    return ends ? TraceFormat::Pcapng : TraceFormat::JsonLines;
}

TraceFormat traceFormatIn(std::string const& contents)
{
    return isPcapng(contents) ? TraceFormat::Pcapng : TraceFormat::JsonLines;
}

TraceWriter::TraceWriter(std::string const& path)
    : name(path), file(path, std::ios::binary), stream(file), format(traceFormatOf(path))
{
    if (!file) {
        throw InputError(path + ": cannot be written: " + std::strerror(errno));
    }
    put(format == TraceFormat::Pcapng ? pcapngHead() : "");
}

TraceWriter::TraceWriter(std::ostream& target, TraceFormat wanted)
    : name("the standard output"), stream(target), format(wanted)
{
    put(format == TraceFormat::Pcapng ? pcapngHead() : "");
}

void TraceWriter::write(TraceRecord const& record)
{
    put(format == TraceFormat::Pcapng ? pcapngPacket(record) : lineOf(jsonOf(record)) + "\n");
}

void TraceWriter::put(std::string const& text)
{
    if (!(stream << text << std::flush)) {
        throw InputError(name + ": cannot be written: " + std::strerror(errno));
    }
}

std::string contentsOf(std::string const& path)
{
    std::ifstream file;
    if (path != "-") {
        file.open(path, std::ios::binary);
    }
    std::istream& stream = path == "-" ? std::cin : file;
    std::string contents;
    char part[65536];
    while (stream.read(part, sizeof part) || stream.gcount() > 0) {
        contents.append(part, static_cast<size_t>(stream.gcount()));
    }
    if (!stream.eof()) {
        throw InputError(path + ": cannot be read: " + std::strerror(errno));
    }
    return contents;
}

void readTrace(std::string const& contents, std::string const& name, TraceFormat format, OnRecord const& onRecord)
{
    if (format == TraceFormat::Pcapng) {
        readPcapng(contents, name, onRecord);
    } else {
        readJsonLines(contents, name, onRecord);
    }
}

std::vector<TraceRecord> readTrace(std::string const& path)
{
    std::string const contents = contentsOf(path);
    std::vector<TraceRecord> records;
    readTrace(contents, path == "-" ? "the standard input" : path, traceFormatIn(contents),
              [&records](TraceRecord const& record) { records.push_back(record); });
    return records;
}

std::string pcapngOf(std::vector<TraceRecord> const& records)
{
    std::string file = pcapngHead();
    for (TraceRecord const& record : records) {
        file += pcapngPacket(record);
    }
    return file;
}

} // namespace zelobox
