#include <unistd.h>

#include <CLI/CLI.hpp>
#include <iostream>

#include "zelobox/capture/ByteInput.h"
#include "zelobox/commands/Commands.h"
#include "zelobox/middleware/Timeline.h"
#include "zelobox/protocol/TraceFile.h"

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
            timeline.emplace(stream, terminal);
        } else {
            writer.emplace(stream, format == OutputFormat::Pcapng ? TraceFormat::Pcapng : TraceFormat::JsonLines);
        }
    }

    void write(TraceRecord const& record)
    {
        if (timeline) {
            timeline->onTraffic(record);
        } else {
            writer->write(record);
        }
        if (!stream) {
            throw InputError("what was decoded cannot be written: " + std::generic_category().message(errno));
        }
    }

private:
    bool const toFile;
    std::ofstream file;
    std::ostream& stream;
    std::optional<Timeline> timeline;
    std::optional<TraceWriter> writer;
};

int decodeBytes(std::string const& bytes, std::string const& name, Options const& options, Output& output)
{
    StreamRecords const found = recordsOfStream(bytes, valueOf(directions, options.direction));
    for (TraceRecord const& record : found.records) {
        output.write(record);
    }
    for (std::string const& problem : found.problems) {
        std::cerr << "zelobox: " << name << ": " << problem << std::endl;
    }
    return found.problems.empty() ? Succeeded : NotAsExpected;
}

int run(Options const& options)
{
    std::string const name = options.input == "-" ? "the standard input" : options.input;
    std::string const contents = contentsOf(options.input);
    InputFormat const format = valueOf(inputFormats, options.from).value_or(guessFormat(contents));
    Output output(options);
    if (format == InputFormat::Raw) {
        return decodeBytes(contents, name, options, output);
    }
    if (format == InputFormat::Hex) {
        return decodeBytes(bytesOfHexLines(contents, name), name, options, output);
    }
    readTrace(contents, name, format == InputFormat::Pcapng ? TraceFormat::Pcapng : TraceFormat::JsonLines,
              [&output](TraceRecord const& record) { output.write(record); });
    return Succeeded;
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
        "Reads traces (JSON Lines or pcapng) and the recorded bytes of one direction (as they are, or as hexadecimal\n"
        "text with # before comments). Bytes have no times: theirs are 0. Bytes that are no frame are kept, as raw\n"
        "ones; after a wrong sync byte it goes on with the next header of a known message. Ends with 1 when bytes "
        "were\n"
        "no frames, with 2 when a trace cannot be read any further.\n"
        "tools/wireshark/zelo.lua makes Wireshark decode the pcapng files.\n"
        "Examples:\n"
        "  zelobox decode trace.jsonl\n"
        "  zelobox decode trace.jsonl -o trace.pcapng\n"
        "  zelobox decode trace.pcapng --to jsonl | grep IPC_VOLUME\n"
        "  echo 6d010027 00000004 0000001e | zelobox decode -");
    command->callback([options, &exitCode] { exitCode = run(*options); });
}

} // namespace zelobox
