#include "zelobox/protocol/TraceFile.h"

#include <cerrno>
#include <cstring>
#include <iostream>

#include "zelobox/protocol/Pcapng.h"

namespace zelobox {

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
    headSize = written;
}

TraceWriter::TraceWriter(std::ostream& target, TraceFormat wanted)
    : name("the standard output"), stream(target), format(wanted)
{
    put(format == TraceFormat::Pcapng ? pcapngHead() : "");
    headSize = written;
}

void TraceWriter::write(TraceRecord const& record)
{
    put(encoded(record));
}

std::string TraceWriter::encoded(TraceRecord const& record) const
{
    return format == TraceFormat::Pcapng ? pcapngPacket(record) : lineOf(jsonOf(record)) + "\n";
}

void TraceWriter::put(std::string const& text)
{
    stream << text;
    written += text.size();
    if (!isBuffered) {
        stream.flush();
    }
    if (!stream) {
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

std::string pcapngOf(std::vector<TraceRecord> const& records)
{
    std::string file = pcapngHead();
    for (TraceRecord const& record : records) {
        file += pcapngPacket(record);
    }
    return file;
}

} // namespace zelobox
