#include <unistd.h>

#include <CLI/CLI.hpp>
#include <iostream>

#include "simulator/StopSignals.h"
#include "simulator/commands/Commands.h"
#include "simulator/scenario/Player.h"
#include "simulator/scenario/SampleHost.h"

namespace zelobox {

namespace {

struct Options {
    std::string scenario = "demo";
    std::string hostCommand;
    std::string library;
    std::string support;
};

std::vector<std::string> hostArguments(Options const& options)
{
    std::vector<std::string> arguments = {ownProgram()};
    if (!options.hostCommand.empty()) {
        arguments = {"/bin/sh", "-c", "exec " + options.hostCommand + " \"$@\"", "sh"};
    }
    arguments.insert(arguments.end(), {"host", "--json", "--no-start", "--log-level", "3"});
    if (!options.library.empty()) {
        arguments.insert(arguments.end(), {"--lib", options.library});
    }
    if (!options.support.empty()) {
        arguments.insert(arguments.end(), {"--stb", options.support});
    }
    return arguments;
}

void play(Scenario const& scenario, Options const& options, Timeline& timeline)
{
    EventLoop loop;
    StopSignals const signals(loop, [] { throw Interrupted(); });
    Box box(loop, defaultSocketPath, scenario.config);
    box.addObserver(timeline);
    timeline.line("middleware", std::string("listens on ") + defaultSocketPath);
    SampleHost host(loop, timeline, hostArguments(options));
    Player(loop, box, host, timeline).play(scenario);
}

int run(Options const& options)
{
    Scenario const scenario = loadScenario(options.scenario);
    Timeline timeline(std::cout, isatty(STDOUT_FILENO) != 0);
    try {
        play(scenario, options, timeline);
    } catch (StepFailure const& failure) {
        timeline.line("scenario", "failed");
        std::cerr << failure.what() << std::endl;
        return failure.timedOut ? TimedOut : NotAsExpected;
    } catch (Interrupted const&) {
        timeline.line("scenario", "interrupted");
        return WasInterrupted;
    }
    timeline.line("scenario", scenario.name + ": all " + std::to_string(scenario.steps.size()) + " steps as expected");
    return Succeeded;
}

} // namespace

void addDemoCommand(CLI::App& app, int& exitCode)
{
    CLI::App* const command = app.add_subcommand("demo", "plays a scenario: middleware here, sample host in a process");
    auto const options = std::make_shared<Options>();
    command->add_option("scenario,--scenario", options->scenario, "one that comes along, or a file")
        ->type_name("NAME|FILE")
        ->capture_default_str();
    command->add_option("--host-command", options->hostCommand, "shell command that starts zelobox for the host's side")
        ->type_name("COMMAND");
    command->add_option("--lib", options->library, "the host's libzelocobalt.so")->type_name("PATH");
    command->add_option("--stb", options->support, "the host's libzelostb.so")->type_name("PATH");
    command->footer(
        "Prints one timeline of both sides. Ends with 0 when everything was as the scenario expects; with 1,\n"
        "or 3 for a time-out, after saying which step was not.\n"
        "Examples:\n"
        "  zelobox demo\n"
        "  zelobox demo film\n"
        "  zelobox demo my.jsonl --lib build/asan/libzelocobalt.so\n"
        "  zelobox demo --host-command \"qemu-arm -L /usr/arm-linux-gnueabihf build/armhf/zelobox\"");
    command->callback([options, &exitCode] { exitCode = run(*options); });
}

} // namespace zelobox
