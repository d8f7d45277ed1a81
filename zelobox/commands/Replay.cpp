#include "zelobox/capture/Replay.h"

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <iostream>

#include "zelobox/base/PeriodicTimer.h"
#include "zelobox/base/StopSignals.h"
#include "zelobox/base/Terminal.h"
#include "zelobox/capture/TraceReading.h"
#include "zelobox/commands/Commands.h"
#include "zelobox/commands/RunCommands.h"
#include "zelobox/protocol/MessageTable.h"

namespace zelobox {

namespace {

struct Options {
    std::string trace;
    std::string socket = defaultSocketPath;
    bool fast = false;
    bool quiet = false;
    double tolerance = 5;
    double wait = 0;
    std::vector<std::string> ignored;
};

class Interrupted {};

Milliseconds const progressInterval{1000};

/// What the library sends because the host calls it.
char const hostsMessages[] = "host";
std::set<uint16_t> const typesOfHost = {IPC_VIDEO_WINDOW, IPC_VIDEO_WINDOW_MODE, IPC_PREVIOUS_CONTROLLER};

std::set<std::string> names()
{
    std::set<std::string> all = {hostsMessages};
    for (MessageInfo const& info : messageTable()) {
        all.insert(info.name);
    }
    return all;
}

std::set<uint16_t> typesOf(std::vector<std::string> const& ignored)
{
    std::set<uint16_t> types;
    for (std::string const& name : ignored) {
        if (name == hostsMessages) {
            types.insert(typesOfHost.begin(), typesOfHost.end());
        } else {
            types.insert(static_cast<uint16_t>(findMessage(name)->type));
        }
    }
    return types;
}

Milliseconds milliseconds(double seconds)
{
    return Milliseconds(static_cast<int64_t>(seconds * 1000));
}

/// The trace, whose first record has been read: an empty one is none.
class Source {
public:
    explicit Source(std::string const& path)
        : reader(path, {}, [](std::string const& text) { printProblem("zelobox replay", text); }), first(reader.next())
    {
        if (!first) {
            throw InputError(path + ": is empty; there is nothing to replay");
        }
    }

    std::optional<TraceRecord> next() { return first ? std::exchange(first, std::nullopt) : reader.next(); }
    std::optional<double> shareRead() const { return reader.shareRead(); }

private:
    TraceReader reader;
    std::optional<TraceRecord> first;
};

/// @return "record 412000, 41 % of the trace"
std::string progressOf(Replay const& replay, Source const& source)
{
    std::optional<double> const share = source.shareRead();
    std::string text = "record " + std::to_string(replay.position());
    return text + (share ? ", " + std::to_string(static_cast<int>(*share * 100)) + " % of the trace" : "");
}

/// @return the number of records
size_t play(Source& source, Options const& options, Timeline& timeline)
{
    EventLoop loop;
    StopSignals const signals(loop, [] { throw Interrupted(); });
    size_t count = 0;
    auto const next = [&] {
        std::optional<TraceRecord> record = source.next();
        count += record ? 1 : 0;
        return record;
    };
    Replay replay(loop, options.socket, next,
                  {options.fast, milliseconds(options.tolerance), milliseconds(options.wait), typesOf(options.ignored),
                   options.quiet},
                  timeline);
    timeline.line("replay", "listens on " + options.socket + "; start the application");
    PeriodicTimer timer(loop);
    if (options.quiet) {
        timer.start(progressInterval, [&] { timeline.line("replay", progressOf(replay, source)); });
    }
    replay.run();
    return count;
}

int run(Options const& options)
{
    Source source(options.trace);
    Timeline timeline(std::cout, usesColour(STDOUT_FILENO));
    try {
        size_t const count = play(source, options, timeline);
        timeline.line("replay", "all " + std::to_string(count) + " records as they were");
        return Succeeded;
    } catch (ReplayFailure const& failure) {
        timeline.line("replay", "failed");
        std::cerr << failure.what() << std::endl;
        return failure.timedOut ? TimedOut : NotAsExpected;
    } catch (Interrupted const&) {
        timeline.line("replay", "interrupted");
        return WasInterrupted;
    }
}

void addOptions(CLI::App& command, std::shared_ptr<Options> const& options)
{
    command.add_option("trace", options->trace, "JSON Lines or pcapng, packed or not; - is the standard input")
        ->type_name("FILE")
        ->required();
    command.add_option("--socket", options->socket, "where to listen")->type_name("PATH")->capture_default_str();
    command.add_flag("--fast", options->fast, "do not wait for the time of a frame, only for its turn");
    command.add_flag("--quiet", options->quiet, "show how far it is instead of the frames");
    command.add_option("--tolerance", options->tolerance, "how much later than recorded the library may be")
        ->type_name("SECONDS")
        ->check(CLI::Range(0.0, 86400.0))
        ->capture_default_str();
    command.add_option("--wait", options->wait, "how long the first connect may take; 0: as long as it likes")
        ->type_name("SECONDS")
        ->check(CLI::Range(0.0, 86400.0))
        ->capture_default_str();
    command.add_option("--ignore", options->ignored, "message that is not compared, or \"host\"; may be repeated")
        ->type_name("NAME")
        ->allow_extra_args(false)
        ->check(CLI::IsMember(names()));
}

} // namespace

void addReplayCommand(CLI::App& app, int& exitCode)
{
    CLI::App* const command = app.add_subcommand("replay", "plays the middleware of a trace to a library");
    auto const options = std::make_shared<Options>();
    addOptions(*command, options);
    command->footer(
        "Sends what the middleware sent, when it did and not before the library has sent what it had sent by then;\n"
        "closes where it closed; and compares, connection by connection, what the library sends. Ends with 0, with 1\n"
        "at the first difference, with 3 when the library is too late.\n"
        "What the library sends because its host is driven (video windows, the previous controller) is expected too:\n"
        "drive the host as it was driven then, or leave these messages out with \"--ignore host\".\n"
        "The end of the last connection need not come.\n"
        "Examples:\n"
        "  zelobox replay middleware.pcapng\n"
        "  zelobox replay trace.jsonl --fast --ignore host\n"
        "  zelobox replay trace.jsonl --tolerance 1 --wait 30 --ignore IPC_CLIENT_STATE");
    command->callback([options, &exitCode] { exitCode = run(*options); });
}

} // namespace zelobox
