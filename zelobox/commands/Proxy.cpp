#include "zelobox/capture/Proxy.h"

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <csignal>
#include <iostream>

#include "zelobox/base/StopSignals.h"
#include "zelobox/base/Terminal.h"
#include "zelobox/commands/Commands.h"
#include "zelobox/commands/TraceOptions.h"
#include "zelobox/middleware/Timeline.h"
#include "zelobox/protocol/TraceFile.h"

namespace zelobox {

namespace {

struct Options {
    std::string listen = defaultSocketPath;
    std::string connect;
    TraceOptions trace;
    bool quiet = false;
};

/// Shows the traffic and keeps it. The traffic matters more than its record.
class Recorder {
public:
    explicit Recorder(Options const& options)
        : timeline(options.trace.talk(), usesColour(options.trace.talkDescriptor())),
          quiet(options.quiet || options.trace.isToOutput()), file(options.trace.open())
    {
    }

    void take(TraceRecord const& record)
    {
        bool const data = record.event == TraceRecord::Event::Frame || record.event == TraceRecord::Event::Raw;
        if (!quiet || !data) {
            timeline.onTraffic(record);
        }
        try {
            if (file) {
                file->write(record);
            }
        } catch (InputError const& error) {
            file.reset();
            complete = false;
            timeline.line("proxy", std::string(error.what()) + "; goes on without a trace");
        }
    }

    Timeline timeline;
    bool complete = true;

private:
    bool const quiet;
    std::unique_ptr<TraceRing> file;
};

int run(Options const& options)
{
    if (options.listen == options.connect) {
        throw InputError("--listen and --connect are the same; give the middleware another socket");
    }
    std::signal(SIGPIPE, SIG_IGN); // whoever reads the trace may go; the traffic goes on
    EventLoop loop;
    bool stopped = false;
    StopSignals const signals(loop, [&stopped] { stopped = true; });
    Recorder recorder(options);
    Proxy const proxy(loop, options.listen, options.connect,
                      [&recorder](TraceRecord const& record) { recorder.take(record); });
    recorder.timeline.line("proxy",
                           "listens on " + options.listen + ", connects to " + options.connect + "; Ctrl-C ends it");
    loop.run(EventLoop::Clock::time_point::max(), [&stopped] { return stopped; });
    return recorder.complete ? Succeeded : NotAsExpected;
}

} // namespace

void addProxyCommand(CLI::App& app, int& exitCode)
{
    CLI::App* const command = app.add_subcommand("proxy", "stands between a library and a middleware, and records");
    auto const options = std::make_shared<Options>();
    command->add_option("--listen", options->listen, "socket for the libraries")
        ->type_name("PATH")
        ->capture_default_str();
    command->add_option("--connect", options->connect, "socket of the middleware")->type_name("PATH")->required();
    options->trace.addTo(*command);
    command->add_flag("--quiet", options->quiet,
                      "print connects and ends only: a slow terminal holds up what it shows");
    command->footer(
        "Passes every byte on as it comes, prints all frames, decoded, and runs until Ctrl-C. When one\n"
        "side closes, so does the other; a library that finds no middleware is closed and tries again.\n"
        "On a box whose middleware has the libraries' socket, move that out of the way and back again:\n"
        "  mv /tmp/zelo_messenger /tmp/middleware\n"
        "  zelobox proxy --connect /tmp/middleware --trace middleware.pcapng\n"
        "  mv /tmp/middleware /tmp/zelo_messenger\n"
        "Connections that are there already are not affected; restart the application.\n"
        "With --limit the older half of the trace lies in FILE.old. With \"--trace -\" all traffic goes to the\n"
        "standard output as JSON Lines, and connects and ends are told on the standard error.\n"
        "Examples:\n"
        "  zelobox proxy --connect /tmp/middleware\n"
        "  zelobox proxy --connect /tmp/middleware --trace trace.pcapng --limit 16M\n"
        "  ssh box zelobox-proxy proxy --connect /tmp/middleware --trace - | zelobox decode -\n"
        "  zelobox proxy --connect /tmp/middleware --trace trace.jsonl\n"
        "  zelobox proxy --listen /tmp/other_messenger --connect /tmp/zelo_messenger");
    command->callback([options, &exitCode] { exitCode = run(*options); });
}

} // namespace zelobox
