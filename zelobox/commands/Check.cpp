#include <CLI/CLI.hpp>
#include <iostream>

#include "zelobox/check/Narrator.h"
#include "zelobox/check/Report.h"
#include "zelobox/commands/Commands.h"
#include "zelobox/commands/HostOptions.h"
#include "zelobox/protocol/Json.h"
#include "zelobox/protocol/TraceFile.h"

namespace zelobox {

namespace {

struct Options {
    bool list = false;
    bool json = false;
    bool strict = false;
    std::vector<std::string> ids;
    std::string junit;
    std::string trace;
    std::string socket = defaultSocketPath;
    unsigned timeout = 5;
    unsigned wait = 5;
    HostOptions host;
};

CheckCase const* findCase(std::string const& id)
{
    for (CheckCase const& candidate : checkCases()) {
        if (id == candidate.id) {
            return &candidate;
        }
    }
    return nullptr;
}

/// @return what is wrong with @p id
std::string checkId(std::string const& id)
{
    std::string ids;
    for (CheckCase const& candidate : checkCases()) {
        ids += std::string(ids.empty() ? "" : ", ") + candidate.id;
    }
    return findCase(id) != nullptr ? "" : "\"" + id + "\" is none of: " + ids;
}

/// @return @p wanted, and all that these need
std::set<std::string> withNeeds(std::vector<std::string> wanted)
{
    std::set<std::string> selected;
    while (!wanted.empty()) {
        std::string const id = wanted.back();
        wanted.pop_back();
        if (selected.insert(id).second) {
            auto const& needs = findCase(id)->needs;
            wanted.insert(wanted.end(), needs.begin(), needs.end());
        }
    }
    return selected;
}

/// @return the cases that are wanted, those that they need, and those about all frames
std::vector<CheckCase const*> selection(Options const& options)
{
    std::set<std::string> const selected = withNeeds(options.ids);
    std::vector<CheckCase const*> cases;
    for (CheckCase const& candidate : checkCases()) {
        if (selected.empty() || selected.count(candidate.id) != 0 || isAboutTheRun(candidate)) {
            cases.push_back(&candidate);
        }
    }
    return cases;
}

CheckSetting settingOf(Options const& options)
{
    CheckSetting setting;
    setting.socketPath = options.socket;
    setting.timeout = std::chrono::seconds(options.timeout);
    setting.patience = std::chrono::seconds(options.wait);
    setting.hostArguments = options.host.arguments();
    setting.strict = options.strict;
    setting.ask = [wait = options.wait, json = options.json](std::string const& text) {
        (json ? std::cerr : std::cout) << "please   " << text << ", within " << wait << " s" << std::endl;
    };
    return setting;
}

int exitCodeOf(Verdicts const& verdicts)
{
    int code = Succeeded;
    for (Verdict const& verdict : verdicts) {
        if (verdict.kind == Verdict::Kind::Failed && code != NotAsExpected) {
            code = verdict.timedOut ? TimedOut : NotAsExpected;
        }
    }
    return code;
}

int list(Options const& options)
{
    for (CheckCase const* const one : selection(options)) {
        if (options.json) {
            Json json = {
                {"case", one->id}, {"expected", one->expected}, {"needs", one->needs}, {"rules", Json::array()}};
            for (Rule const rule : one->rules) {
                json["rules"].push_back(static_cast<unsigned>(rule));
            }
            std::cout << lineOf(json) << "\n";
        } else {
            std::cout << std::left << std::setw(18) << one->id << one->expected << "\n";
        }
    }
    return Succeeded;
}

/// What the run says, to whom it may concern.
class Output {
public:
    explicit Output(Options const& commandLine) : options(commandLine), narrator(std::cout, options.json)
    {
        if (!options.trace.empty()) {
            trace.emplace(options.trace);
        }
    }

    void take(TraceRecord const& record)
    {
        narrator.take(record);
        if (trace) {
            trace->write(record);
        }
    }

    void take(Verdict const& verdict)
    {
        narrator.endCase();
        if (options.json) {
            std::cout << lineOf(jsonOf(verdict)) << std::endl;
        } else {
            print(std::cout, verdict);
        }
    }

    void end(Verdicts const& verdicts)
    {
        std::cout << (options.json ? lineOf(jsonOf(verdicts)) : summaryOf(verdicts)) << std::endl;
        if (!options.junit.empty()) {
            writeJunit(options.junit, "zelobox check", junitCasesOf(verdicts));
        }
    }

private:
    Options const& options;
    Narrator narrator;
    std::optional<TraceWriter> trace;
};

int run(Options const& options)
{
    Output output(options);
    RunLog log([&output](TraceRecord const& record) { output.take(record); });
    CheckSetting setting = settingOf(options);
    if (!connectTo(options.socket)) {
        throw PeerError("nobody listens on " + options.socket + ": " + std::strerror(errno) +
                        "; start the middleware first, or say where with --socket");
    }
    setting.log = &log;
    Verdicts verdicts;
    for (CheckCase const* const one : selection(options)) {
        verdicts.push_back(judge(*one, setting, verdicts));
        output.take(verdicts.back());
    }
    output.end(verdicts);
    return exitCodeOf(verdicts);
}

void addOptions(CLI::App& command, Options& options)
{
    command.add_flag("--list", options.list, "list the cases");
    command.add_option("--case", options.ids, "run this one and what it needs; may be given again")
        ->type_name("ID")
        ->allow_extra_args(false)
        ->check(CLI::Validator(checkId, ""));
    command.add_flag("--strict", options.strict, "fail for what is legal but implausible, too");
    command.add_flag("--json", options.json, "report as JSON Lines");
    command.add_option("--junit", options.junit, "write the verdicts as JUnit XML")->type_name("FILE");
    command.add_option("--trace", options.trace, "write all traffic to a file; pcapng if its name ends so")
        ->type_name("FILE");
    command.add_option("--socket", options.socket, "where the middleware listens")
        ->type_name("PATH")
        ->capture_default_str();
    command.add_option("--timeout", options.timeout, "for each answer, in seconds")
        ->type_name("SECONDS")
        ->check(CLI::Range(1, 3600))
        ->capture_default_str();
    command.add_option("--wait", options.wait, "for what somebody at the box is asked to do, in seconds")
        ->type_name("SECONDS")
        ->check(CLI::Range(0, 3600))
        ->capture_default_str();
    options.host.addTo(command);
}

} // namespace

void addCheckCommand(CLI::App& app, int& exitCode)
{
    CLI::App* const command = app.add_subcommand("check", "checks a middleware of your own, case by case");
    auto const options = std::make_shared<Options>();
    addOptions(*command, *options);
    command->footer(
        "Connects as the library does, and lets the library itself judge what it can judge better.\n"
        "A case that cannot be judged, because nobody pressed a key or a case it needs was not passed, is\n"
        "skipped; that is no pass. Prints each configuration, decoded, and every event, and judges every frame of the\n"
        "run: message, field, offset in the payload, and the rule in docs/protocol.md. What is legal but\n"
        "implausible is a warning. Ends with 0 when no case failed, with 1 when one did, and with 3 when\n"
        "all that failed did so because nothing came in time.\n"
        "Examples:\n"
        "  zelobox check\n"
        "  zelobox check --case two-clients --case slow-reader --timeout 2\n"
        "  zelobox check --wait 0 --strict --junit check.xml --trace check.pcapng\n"
        "  zelobox middleware --quiet --fault single-client & zelobox check");
    command->callback([options, &exitCode] { exitCode = options->list ? list(*options) : run(*options); });
}

} // namespace zelobox
