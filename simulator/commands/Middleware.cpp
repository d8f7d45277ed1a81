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
    std::vector<std::string> misbehaviours;
};

std::string misbehaviourList()
{
    std::string list;
    for (MisbehaviourInfo const& info : misbehaviourTable()) {
        std::string name = info.name;
        name.resize(std::max<size_t>(name.size(), 21), ' ');
        list += "  " + name + (info.lasts ? "   " : " * ") + info.help + "\n";
    }
    return list;
}

/// @return what is wrong with @p name
std::string checkMisbehaviour(std::string const& name)
{
    return findMisbehaviour(name) != nullptr ? "" : "\"" + name + "\" is none of: " + misbehaviourNames();
}

int run(Options const& options)
{
    IPCBrowserConfig const config = options.config.empty() ? defaultConfig() : loadConfig(options.config);
    EventLoop loop;
    bool stopped = false;
    StopSignals const signals(loop, [&stopped] { stopped = true; });
    Timeline timeline(std::cout, isatty(STDOUT_FILENO) != 0);
    Box box(loop, options.socket, config);
    box.addObserver(timeline);
    for (std::string const& name : options.misbehaviours) {
        box.misbehaveAlways(findMisbehaviour(name)->what);
    }
    timeline.line("middleware", "listens on " + options.socket + "; Ctrl-C ends it");
    try {
        loop.run(EventLoop::Clock::time_point::max(), [&stopped] { return stopped; });
    } catch (Server::Died const& death) {
        timeline.line("middleware", std::string("dies: ") + death.what());
        return NotAsExpected;
    }
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
    command->add_option("--misbehave", options->misbehaviours, "what to do wrong, may be given again")
        ->type_name("WHAT")
        ->allow_extra_args(false)
        ->check(CLI::Validator(checkMisbehaviour, ""));
    command->footer("Answers configuration requests and prints all frames, decoded, until Ctrl-C.\n"
                    "The file holds one object; every field may be left out:\n"
                    "  " +
                    lineOf(jsonOf(defaultConfig())) +
                    "\n"
                    "What it can do wrong, from the start or, marked *, on each connection after each answer to a\n"
                    "configuration request:\n" +
                    misbehaviourList() +
                    "Examples:\n"
                    "  zelobox middleware\n"
                    "  zelobox middleware --config box.json\n"
                    "  zelobox middleware --misbehave slow --misbehave garbage\n"
                    "  zelobox middleware --socket /tmp/other_messenger");
    command->callback([options, &exitCode] { exitCode = run(*options); });
}

} // namespace zelobox
