#include <sys/stat.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <iostream>

#include "zelobox/base/Terminal.h"
#include "zelobox/capture/TraceReading.h"
#include "zelobox/commands/Commands.h"
#include "zelobox/commands/RunCommands.h"
#include "zelobox/middleware/Timeline.h"

namespace zelobox {

namespace {

enum class OutputFormat { Text, JsonLines, Pcapng };

struct Options {
    std::string input;
    std::string from; // these three are empty, or one of the names below
    std::string to;
    std::string direction;
    std::string output = "-";
};

template <typename Value> using Names = std::map<std::string, Value>;

Names<InputFormat> const inputFormats = {{"raw", InputFormat::Raw},
                                         {"hex", InputFormat::Hex},
                                         {"jsonl", InputFormat::JsonLines},
                                         {"pcapng", InputFormat::Pcapng}};
Names<OutputFormat> const outputFormats = {
    {"text", OutputFormat::Text}, {"jsonl", OutputFormat::JsonLines}, {"pcapng", OutputFormat::Pcapng}};
Names<Direction> const directions = {{"toHost", Direction::ToHost}, {"toMiddleware", Direction::ToMiddleware}};

template <typename Value> std::optional<Value> valueOf(Names<Value> const& names, std::string const& name)
{
    return name.empty() ? std::nullopt : std::optional(names.at(name));
}

OutputFormat outputFormat(Options const& options)
{
    if (!options.to.empty()) {
        return outputFormats.at(options.to);
    }
    size_t const dot = options.output.rfind('.');
    auto const found = outputFormats.find(dot == std::string::npos ? "" : options.output.substr(dot + 1));
    return found != outputFormats.end() ? found->second : OutputFormat::Text;
}

/// Where the records go, in the form that is wanted.
class Output {
public:
    explicit Output(Options const& options) : toFile(options.output != "-"), stream(toFile ? file : std::cout)
    {
        OutputFormat const format = outputFormat(options);
        bool const terminal = !toFile && isatty(STDOUT_FILENO) != 0;
        if (format == OutputFormat::Pcapng && terminal) {
            throw InputError("pcapng is nothing for a terminal; say with -o where it goes");
        }
        if (toFile) {
            file.open(options.output, std::ios::binary);
        }
        if (!file) {
            throw InputError(options.output + ": cannot be written; is the directory there and writable?");
        }
        if (format == OutputFormat::Text) {
            timeline.emplace(stream, !toFile && usesColour(STDOUT_FILENO));
            timeline->setBuffered();
        } else {
            writer.emplace(stream, format == OutputFormat::Pcapng ? TraceFormat::Pcapng : TraceFormat::JsonLines);
            writer->setBuffered();
        }
    }

    void write(TraceRecord const& record)
    {
        if (timeline) {
            timeline->onTraffic(record);
        } else {
            writer->write(record);
        }
        requireWritten();
    }

    void flush()
    {
        stream.flush();
        requireWritten();
    }

private:
    void requireWritten() const
    {
        if (!stream) {
            throw InputError("what was decoded cannot be written: " + std::generic_category().message(errno));
        }
    }

    bool const toFile;
    std::ofstream file;
    std::ostream& stream;
    std::optional<Timeline> timeline;
    std::optional<TraceWriter> writer;
};

/// Tells what is wrong, but not for every line of a file that is something else altogether.
class Problems {
public:
    void take(std::string const& text)
    {
        if (++count <= mostShown) {
            printProblem("zelobox decode", text);
        }
    }

    int end() const
    {
        if (count > mostShown) {
            printProblem("zelobox decode", std::to_string(count - mostShown) + " more of the kind");
        }
        return count == 0 ? Succeeded : NotAsExpected;
    }

private:
    static constexpr size_t mostShown = 20;

    size_t count = 0;
};

/// So that a name given twice costs no recording.
void requireAnotherFile(Options const& options)
{
    struct stat input = {};
    struct stat output = {};
    bool const areThere = stat(options.input.c_str(), &input) == 0 && stat(options.output.c_str(), &output) == 0;
    if (areThere && S_ISREG(input.st_mode) && input.st_dev == output.st_dev && input.st_ino == output.st_ino) {
        throw InputError(options.output + ": is what is to be decoded; name another file for the output");
    }
}

int run(Options const& options)
{
    requireAnotherFile(options);
    Problems problems;
    TraceReader reader(options.input, {valueOf(inputFormats, options.from), valueOf(directions, options.direction)},
                       [&problems](std::string const& text) { problems.take(text); });
    Output output(options);
    while (std::optional<TraceRecord> const record = reader.next([&output] { output.flush(); })) {
        output.write(*record);
    }
    output.flush();
    return problems.end();
}

} // namespace

void addDecodeCommand(CLI::App& app, int& exitCode)
{
    CLI::App* const command = app.add_subcommand("decode", "decodes recorded traffic, and converts it");
    auto const options = std::make_shared<Options>();
    command->add_option("input", options->input, "what to decode; - is the standard input")
        ->type_name("FILE")
        ->required();
    command->add_option("--from", options->from, "how it is written, otherwise what it looks like")
        ->check(CLI::IsMember(&inputFormats));
    command->add_option("--to", options->to, "how to write it, otherwise what the name ends in, otherwise text")
        ->check(CLI::IsMember(&outputFormats));
    command->add_option("-o,--output", options->output, "where to write it; - is the standard output")
        ->type_name("FILE")
        ->capture_default_str();
    command->add_option("--direction", options->direction, "of bytes, otherwise that of the first known message")
        ->check(CLI::IsMember(&directions));
    command->footer(
        "Reads traces (JSON Lines, pcapng and the older pcap) and the recorded bytes of one direction (as they are, "
        "or\n"
        "as hexadecimal text with # before comments), packed by gzip or not, and prints each frame as it comes. Bytes\n"
        "have no times: theirs are 0. Bytes that are no frame are kept, as raw ones; after a wrong sync byte it goes\n"
        "on with the next header of a known message. A line or packet that cannot be read is told of and left out.\n"
        "Ends with 1 when there was one, or bytes that are no frame.\n"
        "tools/wireshark/zelo.lua makes Wireshark decode the pcapng files.\n"
        "Examples:\n"
        "  zelobox decode trace.jsonl\n"
        "  zelobox decode trace.jsonl -o trace.pcapng\n"
        "  zelobox decode trace.pcapng.gz --to jsonl | grep IPC_VOLUME\n"
        "  ssh box zelobox-proxy proxy --connect /tmp/middleware --trace - | zelobox decode -\n"
        "  echo 6d010027 00000004 0000001e | zelobox decode -");
    command->callback([options, &exitCode] { exitCode = run(*options); });
}

} // namespace zelobox
