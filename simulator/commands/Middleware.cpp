#include <unistd.h>

#include <CLI/CLI.hpp>
#include <iostream>

#include "simulator/BoxConfig.h"
#include "simulator/StopSignals.h"
#include "simulator/Timeline.h"
#include "simulator/commands/Commands.h"

namespace zelobox {

namespace {

struct Options {
    std::string config;
    std::string socket = defaultSocketPath;
};

int run(Options const& options)
{
    IPCBrowserConfig const config = options.config.empty() ? defaultConfig() : loadConfig(options.config);
    EventLoop loop;
    bool stopped = false;
    StopSignals const signals(loop, [&stopped] { stopped = true; });
    Timeline timeline(std::cout, isatty(STDOUT_FILENO) != 0);
    Box box(loop, options.socket, config);
    box.addObserver(timeline);
    timeline.line("middleware", "listens on " + options.socket + "; Ctrl-C ends it");
    loop.run(EventLoop::Clock::time_point::max(), [&stopped] { return stopped; });
    timeline.line("middleware", "ends; its state was " + lineOf(jsonOf(box.state())));
    return Succeeded;
}

} // namespace

void addMiddlewareCommand(CLI::App& app, int& exitCode)
{
    CLI::App* const command = app.add_subcommand("middleware", "the middleware alone, for a host of your own");
    auto const options = std::make_shared<Options>();
    command->add_option("--config", options->config, "JSON file with the configuration to send")->type_name("FILE");
    command->add_option("--socket", options->socket, "where to listen")->type_name("PATH")->capture_default_str();
    command->footer("Answers configuration requests and prints all frames, decoded, until Ctrl-C.\n"
                    "The file holds one object; every field may be left out:\n"
                    "  " +
                    lineOf(jsonOf(defaultConfig())) +
                    "\n"
                    "Examples:\n"
                    "  zelobox middleware\n"
                    "  zelobox middleware --config box.json\n"
                    "  zelobox middleware --socket /tmp/other_messenger");
    command->callback([options, &exitCode] { exitCode = run(*options); });
}

} // namespace zelobox
