#include <CLI/CLI.hpp>
#include <fstream>
#include <iostream>

#include "zelobox/capture/TraceReading.h"
#include "zelobox/commands/Commands.h"
#include "zelobox/commands/RunCommands.h"
#include "zelobox/scenario/Recording.h"

namespace zelobox {

namespace {

struct Options {
    std::string input;
    std::string output = "-";
    std::string name;
    bool force = false;
};

/// @return "session" for "/tmp/session.jsonl.gz"
std::string nameFrom(std::string const& path)
{
    std::string const file = path.substr(path.rfind('/') + 1);
    std::string const name = file.substr(0, file.find('.'));
    return name.empty() || name == "-" ? "recorded" : name;
}

void write(Options const& options, std::string const& text)
{
    if (options.output == "-") {
        std::cout << text << std::flush;
        return;
    }
    if (!options.force && std::ifstream(options.output)) {
        throw InputError(options.output + ": is there already; --force overwrites it");
    }
    std::ofstream file(options.output, std::ios::binary);
    file << text << std::flush;
    if (!file) {
        throw InputError(options.output + ": cannot be written; is the directory there and writable?");
    }
}

int run(Options const& options)
{
    bool isComplete = true;
    TraceReader reader(options.input, {}, [&isComplete](std::string const& text) {
        printProblem("zelobox record", text);
        isComplete = false;
    });
    Recording recording;
    while (std::optional<TraceRecord> const record = reader.next()) {
        recording.take(*record);
    }
    if (recording.count() == 0) {
        throw InputError(options.input + ": no client asks for a configuration in it, so there is nothing to play");
    }
    write(options, recording.text(options.name.empty() ? nameFrom(options.input) : options.name, options.input));
    return isComplete ? Succeeded : NotAsExpected;
}

} // namespace

void addRecordCommand(CLI::App& app, int& exitCode)
{
    CLI::App* const command = app.add_subcommand("record", "makes a scenario of a trace");
    auto const options = std::make_shared<Options>();
    command->add_option("trace", options->input, "JSON Lines or pcapng, packed or not; - is the standard input")
        ->type_name("FILE")
        ->required();
    command->add_option("-o,--output", options->output, "where to write it; - is the standard output")
        ->type_name("FILE")
        ->capture_default_str();
    command->add_option("--name", options->name, "of the scenario, otherwise that of the trace")->type_name("NAME");
    command->add_flag("--force", options->force, "overwrite a file that is there already");
    command->footer(
        "The middleware's frames become sends, the library's become expectations. Times are left out. What\n"
        "the host or another client has caused is ignored, or stands in a comment.\n"
        "Examples:\n"
        "  zelobox record session.jsonl -o session.scenario\n"
        "  zelobox test session.scenario");
    command->callback([options, &exitCode] { exitCode = run(*options); });
}

} // namespace zelobox
