#include <sys/stat.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <iomanip>
#include <iostream>
#include <sstream>

#include "zelobox/base/Junit.h"
#include "zelobox/base/Terminal.h"
#include "zelobox/capture/TraceObserver.h"
#include "zelobox/commands/ScenarioRun.h"

namespace zelobox {

namespace {

struct Options {
    std::vector<std::string> files;
    bool list = false;
    bool json = false;
    bool verbose = false;
    std::string junit;
    std::string traces; // a directory
    HostOptions host;
};

struct Outcome {
    Scenario const* scenario = nullptr;
    ScenarioResult result;
    std::string timeline;
    std::string trace; // the file that is kept
};

bool isFailure(Outcome const& outcome)
{
    return outcome.result.code != Succeeded;
}

/// Whatever the scenario is called, its trace is a file of the directory.
std::string fileNameFor(Scenario const& scenario)
{
    std::string name = scenario.name;
    for (char& character : name) {
        bool const isPlain = std::isalnum(static_cast<unsigned char>(character)) != 0 || character == '-';
        character = isPlain ? character : '_';
    }
    return name + ".jsonl";
}

Outcome play(Scenario const& scenario, Options const& options)
{
    Outcome outcome;
    outcome.scenario = &scenario;
    std::ostringstream kept;
    bool const shown = options.verbose && !options.json;
    Timeline timeline(shown ? std::cout : kept, shown && usesColour(STDOUT_FILENO));
    std::unique_ptr<TraceObserver> trace;
    if (!options.traces.empty()) {
        outcome.trace = options.traces + "/" + fileNameFor(scenario);
        trace = std::make_unique<TraceObserver>(std::make_unique<TraceRing>(outcome.trace, 0));
    }
    outcome.result = runScenario(scenario, options.host, timeline, trace.get());
    outcome.timeline = kept.str();
    if (trace && !isFailure(outcome)) {
        std::remove(outcome.trace.c_str());
        outcome.trace.clear();
    }
    return outcome;
}

Json jsonOf(Outcome const& outcome)
{
    Json json = {{"scenario", outcome.scenario->name},
                 {"file", outcome.scenario->source},
                 {"verdict", isFailure(outcome) ? "failed" : "passed"},
                 {"seconds", outcome.result.seconds}};
    if (isFailure(outcome)) {
        json["timedOut"] = outcome.result.code == TimedOut;
        json["failure"] = outcome.result.failure;
    }
    if (!outcome.trace.empty()) {
        json["trace"] = outcome.trace;
    }
    return json;
}

void print(Outcome const& outcome)
{
    std::ostringstream seconds;
    seconds << std::fixed << std::setprecision(3) << outcome.result.seconds;
    std::cout << (isFailure(outcome) ? "FAILED   " : "passed   ") << outcome.scenario->name << "  "
              << outcome.scenario->steps.size() << " steps, " << seconds.str() << " s\n";
    std::istringstream lines(outcome.result.failure);
    for (std::string line; std::getline(lines, line);) {
        std::cout << "  " << line << "\n";
    }
    if (!outcome.trace.empty()) {
        std::cout << "  the traffic is in " << outcome.trace << "\n";
    }
    std::cout << std::flush;
}

JunitCase junitOf(Outcome const& outcome)
{
    JunitCase made;
    made.className = "zelobox test";
    made.name = outcome.scenario->name;
    made.seconds = outcome.result.seconds;
    if (isFailure(outcome)) {
        made.outcome = JunitCase::Outcome::Failed;
        made.message = outcome.result.failure.substr(0, outcome.result.failure.find('\n'));
        made.details = outcome.result.failure;
        made.output = outcome.timeline;
    }
    return made;
}

/// As of check: a time-out only if nothing worse happened.
int exitCodeOf(std::vector<Outcome> const& outcomes)
{
    int code = Succeeded;
    for (Outcome const& outcome : outcomes) {
        if (outcome.result.code == WasInterrupted) {
            return WasInterrupted;
        }
        if (isFailure(outcome) && code != NotAsExpected) {
            code = outcome.result.code;
        }
    }
    return code;
}

/// All of them, so that a file that cannot be read is known before the first one is played.
std::vector<Scenario> load(std::vector<std::string> const& files)
{
    std::vector<Scenario> scenarios;
    scenarios.reserve(files.size());
    for (std::string const& file : files) {
        scenarios.push_back(loadScenario(file));
    }
    return scenarios;
}

int list(std::vector<Scenario> const& scenarios, bool json)
{
    for (Scenario const& scenario : scenarios) {
        if (json) {
            std::cout << lineOf({{"scenario", scenario.name},
                                 {"file", scenario.source},
                                 {"about", scenario.about},
                                 {"steps", scenario.steps.size()}})
                      << "\n";
        } else {
            std::cout << std::left << std::setw(18) << scenario.name << " " << scenario.about << "\n";
        }
    }
    return Succeeded;
}

void report(Options const& options, std::vector<Outcome> const& outcomes)
{
    auto const failed = static_cast<size_t>(std::count_if(outcomes.begin(), outcomes.end(), isFailure));
    if (options.json) {
        std::cout << lineOf({{"passed", outcomes.size() - failed}, {"failed", failed}}) << std::endl;
    } else {
        std::cout << outcomes.size() - failed << " passed, " << failed << " failed" << std::endl;
    }
    if (!options.junit.empty()) {
        std::vector<JunitCase> cases;
        std::transform(outcomes.begin(), outcomes.end(), std::back_inserter(cases), junitOf);
        writeJunit(options.junit, "zelobox test", cases);
    }
}

int run(Options const& options)
{
    std::vector<Scenario> const scenarios = load(options.files);
    if (options.list) {
        return list(scenarios, options.json);
    }
    if (!options.traces.empty() && mkdir(options.traces.c_str(), 0777) != 0 && errno != EEXIST) {
        throw InputError(options.traces + ": cannot be made: " + std::strerror(errno));
    }
    std::vector<Outcome> outcomes;
    for (Scenario const& scenario : scenarios) {
        outcomes.push_back(play(scenario, options));
        if (options.json) {
            std::cout << lineOf(jsonOf(outcomes.back())) << std::endl;
        } else {
            print(outcomes.back());
        }
        if (outcomes.back().result.code == WasInterrupted) {
            break;
        }
    }
    report(options, outcomes);
    return exitCodeOf(outcomes);
}

} // namespace

void addTestCommand(CLI::App& app, int& exitCode)
{
    CLI::App* const command = app.add_subcommand("test", "plays several scenarios, for CI");
    auto const options = std::make_shared<Options>();
    command->add_option("scenarios", options->files, "files, or names of those that come along")
        ->type_name("NAME|FILE")
        ->required();
    command->add_flag("--list", options->list, "list them instead");
    command->add_flag("--verbose", options->verbose, "print the timeline of each");
    command->add_flag("--json", options->json, "report as JSON Lines");
    command->add_option("--junit", options->junit, "write the verdicts as JUnit XML")->type_name("FILE");
    command->add_option("--trace", options->traces, "directory for the traffic of those that fail")
        ->type_name("DIRECTORY");
    options->host.addTo(*command);
    command->footer("Each is played as by \"zelobox demo\", one after the other. Ends with 0 when all were as they\n"
                    "expect, with 1 when one was not, and with 3 when all that failed did so because nothing came in "
                    "time.\n"
                    "Examples:\n"
                    "  zelobox test film hostile\n"
                    "  zelobox test tests/*.jsonl --junit scenarios.xml --trace traces\n"
                    "  zelobox test mine.jsonl --lib build/asan/libzelocobalt.so");
    command->callback([options, &exitCode] { exitCode = run(*options); });
}

} // namespace zelobox
