#include <unistd.h>

#include <CLI/CLI.hpp>
#include <iostream>

#include "zelobox/base/StopSignals.h"
#include "zelobox/commands/Commands.h"
#include "zelobox/commands/HostOptions.h"
#include "zelobox/scenario/HostProcess.h"
#include "zelobox/scenario/Player.h"

namespace zelobox {

namespace {

struct Options {
    std::string scenario = "demo";
    HostOptions host;
};

void play(Scenario const& scenario, Options const& options, Timeline& timeline)
{
    EventLoop loop;
    StopSignals const signals(loop, [] { throw Interrupted(); });
    Middleware middleware(loop, defaultSocketPath, scenario.config);
    middleware.addObserver(timeline);
    timeline.line("middleware", std::string("listens on ") + defaultSocketPath);
    HostProcess host(loop, timeline, options.host.arguments());
    Player(loop, middleware, host, timeline).play(scenario);
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
    options->host.addTo(*command);
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
