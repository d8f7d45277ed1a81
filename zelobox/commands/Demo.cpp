#include <unistd.h>

#include <CLI/CLI.hpp>
#include <iostream>

#include "zelobox/base/Terminal.h"
#include "zelobox/capture/TraceObserver.h"
#include "zelobox/commands/ScenarioRun.h"
#include "zelobox/commands/TraceOptions.h"

namespace zelobox {

namespace {

struct Options {
    std::string scenario = "demo";
    HostOptions host;
    TraceOptions trace;
};

int run(Options const& options)
{
    Scenario const scenario = loadScenario(options.scenario);
    Timeline timeline(options.trace.talk(), usesColour(options.trace.talkDescriptor()));
    std::optional<TraceObserver> trace;
    if (std::unique_ptr<TraceRing> file = options.trace.open()) {
        trace.emplace(std::move(file));
    }
    ScenarioResult const result = runScenario(scenario, options.host, timeline, trace ? &*trace : nullptr);
    if (result.code == NotAsExpected || result.code == TimedOut) {
        std::cerr << result.failure << std::endl;
    }
    return result.code;
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
    options->trace.addTo(*command);
    command->footer(
        "Prints one timeline of both sides. Ends with 0 when everything was as the scenario expects; with 1,\n"
        "or 3 for a time-out, after saying which step was not.\n"
        "Examples:\n"
        "  zelobox demo\n"
        "  zelobox demo film\n"
        "  zelobox demo my.jsonl --lib build/asan/libzelocobalt.so\n"
        "  zelobox demo film --trace film.pcapng\n"
        "  zelobox demo --host-command \"qemu-arm -L /usr/arm-linux-gnueabihf build/armhf/zelobox\"");
    command->callback([options, &exitCode] { exitCode = run(*options); });
}

} // namespace zelobox
