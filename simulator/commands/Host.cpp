#include <stdlib.h>
#include <unistd.h>

#include <CLI/CLI.hpp>

#include "simulator/LineReader.h"
#include "simulator/StopSignals.h"
#include "simulator/commands/Commands.h"
#include "simulator/host/Container.h"

namespace zelobox {

namespace {

struct Options {
    std::string library;
    std::string support;
    bool json = false;
    bool noStart = false;
    int logLevel = 4;
};

int run(Options const& options)
{
    setenv("ZELOSTB_LOG_LEVEL", std::to_string(options.logLevel).c_str(), 1);
    EventLoop loop;
    bool ended = false;
    StopSignals const signals(loop, [&ended] { ended = true; });
    HostLibrary library(options.support.empty() ? defaultLibrary("libzelostb.so") : options.support,
                        options.library.empty() ? defaultLibrary("libzelocobalt.so") : options.library);
    HostOutput output(options.json);
    Container container(library, output);
    if (!options.noStart) {
        container.carryOut("start");
    }
    LineReader commands;
    loop.watch(STDIN_FILENO, [&] {
        bool const more =
            commands.read(STDIN_FILENO, [&](std::string const& line) { ended = ended || !container.carryOut(line); });
        ended = ended || !more;
    });
    loop.run(EventLoop::Clock::time_point::max(), [&ended] { return ended; });
    return Succeeded;
}

std::string commandList()
{
    std::string list;
    for (Container::Command const& command : Container::commands()) {
        std::string words = std::string(command.name) + " " + command.arguments;
        words.resize(std::max<size_t>(words.size(), 24), ' ');
        list += "  " + words + " " + command.help + "\n";
    }
    return list + "  quit                     stops and ends; the end of the input does the same\n";
}

} // namespace

void addHostCommand(CLI::App& app, int& exitCode)
{
    CLI::App* const command = app.add_subcommand("host", "the sample host alone, for a middleware of your own");
    auto const options = std::make_shared<Options>();
    command->add_option("--lib", options->library, "libzelocobalt.so, otherwise the one beside this program")
        ->type_name("PATH");
    command->add_option("--stb", options->support, "libzelostb.so, otherwise the one beside this program")
        ->type_name("PATH");
    command->add_option("--log-level", options->logLevel, "log up to this level, 0 to 5")
        ->check(CLI::Range(0, 5))
        ->capture_default_str();
    command->add_flag("--json", options->json, "report as JSON Lines");
    command->add_flag("--no-start", options->noStart, "wait for the command \"start\"");
    command->footer("Prints every callback and carries out commands from the standard input:\n" + commandList() +
                    "Examples:\n"
                    "  zelobox host\n"
                    "  zelobox host --lib /usr/lib/libzelocobalt.so --log-level 5\n"
                    "  (sleep 1; echo \"video 0 0 640 360\"; sleep 1) | zelobox host --json");
    command->callback([options, &exitCode] { exitCode = run(*options); });
}

} // namespace zelobox
