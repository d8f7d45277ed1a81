#include <unistd.h>

#include <CLI/CLI.hpp>
#include <iostream>

#include "zelobox/base/LineReader.h"
#include "zelobox/base/StopSignals.h"
#include "zelobox/base/Terminal.h"
#include "zelobox/capture/TraceObserver.h"
#include "zelobox/capture/TraceReading.h"
#include "zelobox/commands/Commands.h"
#include "zelobox/commands/HostOptions.h"
#include "zelobox/commands/OpenInBrowser.h"
#include "zelobox/commands/RunCommands.h"
#include "zelobox/commands/ServeFile.h"
#include "zelobox/commands/TraceOptions.h"
#include "zelobox/middleware/Timeline.h"
#include "zelobox/protocol/BrowserConfigJson.h"
#include "zelobox/scenario/HostProcess.h"
#include "zelobox/scenario/Player.h"
#include "zelobox/scenario/RemoteHost.h"
#include "zelobox/web/WebPage.h"

namespace zelobox {

namespace {

struct Options {
    std::string config;
    std::string socket = defaultSocketPath;
    std::string scenario;
    TraceOptions trace;
    std::vector<std::string> faultModes;
    bool quiet = false;
    bool input = false;
    bool unsubscribed = false;
    unsigned patience = 60;
    std::optional<uint16_t> port; // of the page
    bool host = false;
    HostOptions sampleHost;
    bool open = false;
    std::string follow;
    std::string file; // shown in place of a middleware
};

std::string faultModeList()
{
    std::string list;
    for (FaultModeInfo const& info : faultModeTable()) {
        std::string name = info.name;
        name.resize(std::max<size_t>(name.size(), 21), ' ');
        list += "  " + name + (info.lasts ? "   " : " * ") + info.help + "\n";
    }
    return list;
}

/// @return what is wrong with @p name
std::string checkFaultMode(std::string const& name)
{
    return findFaultMode(name) != nullptr ? "" : "\"" + name + "\" is none of: " + faultModeNames();
}

/// A middleware in the foreground, until Ctrl-C or the end of its scenario.
class Foreground {
public:
    explicit Foreground(Options const& commandLine)
        : options(commandLine), timeline(options.trace.talk(), usesColour(options.trace.talkDescriptor())),
          host(timeline), scenario(options.scenario.empty() ? Scenario() : loadScenario(options.scenario)),
          signals(loop, [] { throw Interrupted(); }), middleware(loop, options.socket, configuration()),
          player(loop, middleware, host, timeline)
    {
        if (!options.quiet && !options.trace.isToOutput()) {
            middleware.addObserver(timeline);
        }
        if (std::unique_ptr<TraceRing> ring = options.trace.open()) {
            trace = std::make_unique<TraceObserver>(std::move(ring));
            middleware.addObserver(*trace);
        }
        for (std::string const& name : options.faultModes) {
            middleware.applyAlways(findFaultMode(name)->what);
        }
        if (options.unsubscribed) {
            player.sendToEveryone();
        }
    }

    int run()
    {
        timeline.line("middleware", "listens on " + options.socket + "; Ctrl-C ends it");
        if (options.port) {
            page = std::make_unique<WebPage>(loop, middleware, *options.port, options.socket);
            timeline.line("middleware", "has its page at " + page->address());
        }
        if (options.open) {
            openInBrowser(page->address(), timeline);
        }
        try {
            if (options.host) {
                startHost();
            }
            if (!options.follow.empty()) {
                follow();
            }
            if (options.scenario.empty()) {
                serve();
            }
            play();
            return Succeeded;
        } catch (Interrupted const&) {
            timeline.line("middleware", "ends; its state was " + lineOf(jsonOf(middleware.state())));
            return options.scenario.empty() ? Succeeded : WasInterrupted;
        } catch (StepFailure const& failure) {
            timeline.line("scenario", "failed");
            std::cerr << failure.what() << std::endl;
            return failure.timedOut ? TimedOut : NotAsExpected;
        } catch (Server::Died const& death) {
            timeline.line("middleware", std::string("dies: ") + death.what());
            return NotAsExpected;
        }
    }

private:
    IPCBrowserConfig configuration() const
    {
        if (!options.config.empty()) {
            return loadConfig(options.config);
        }
        return options.scenario.empty() ? defaultConfig() : scenario.config;
    }

    void serve()
    {
        LineReader reader;
        unsigned number = 0;
        if (options.input) {
            loop.watch(STDIN_FILENO, [&] {
                if (!reader.read(STDIN_FILENO, [&](std::string const& line) { carryOut(line, ++number); })) {
                    loop.forget(STDIN_FILENO);
                }
            });
        }
        loop.run(EventLoop::Clock::time_point::max(), [] { return false; });
    }

    /// The page goes on when the trace has ended.
    void follow()
    {
        followed = std::make_unique<TraceReader>(options.follow, TraceForm(),
                                                 [](std::string const& text) { printProblem("zelobox serve", text); });
        loop.watch(followed->descriptor(), [this] {
            if (!followed->readSome([this](TraceRecord const& record) { middleware.follow(record); })) {
                loop.forget(followed->descriptor());
                timeline.line("middleware", "has shown all of " + options.follow);
            }
        });
    }

    /// As a user would in a second terminal.
    void startHost()
    {
        sampleHost = std::make_unique<HostProcess>(loop, timeline, options.sampleHost.arguments());
        sampleHost->onCallback([this](Json const& report) { page->onCallback(sampleHost->id(), report); });
        sampleHost->call("start");
    }

    void carryOut(std::string const& line, unsigned number)
    {
        std::string const where = "input line " + std::to_string(number);
        try {
            Step const step = readStep(line, where, number);
            if (step.kind != Step::Kind::Send && step.kind != Step::Kind::Fault && step.kind != Step::Kind::Say) {
                throw InputError(where + ": only say, send and fault are for the input");
            }
            player.carryOutAlone(step);
        } catch (InputError const& error) {
            std::cerr << error.what() << std::endl;
        } catch (StepFailure const& failure) {
            std::cerr << failure.what() << std::endl;
        }
    }

    void play()
    {
        player.setPatience(std::chrono::seconds(options.patience));
        player.play(scenario);
        timeline.line("scenario",
                      scenario.name + ": all " + std::to_string(scenario.steps.size()) + " steps as expected");
    }

    Options const& options;
    EventLoop loop;
    Timeline timeline;
    RemoteHost host;
    Scenario const scenario;
    StopSignals const signals;
    Middleware middleware;
    Player player;
    std::unique_ptr<TraceObserver> trace;
    std::unique_ptr<WebPage> page;
    std::unique_ptr<HostProcess> sampleHost;
    std::unique_ptr<TraceReader> followed;
};

void addOptions(CLI::App& command, Options& options)
{
    command.add_option("--config", options.config, "JSON file with the configuration to send")->type_name("FILE");
    command.add_option("--socket", options.socket, "where to listen")->type_name("PATH")->capture_default_str();
}

} // namespace

void addMiddlewareCommand(CLI::App& app, int& exitCode)
{
    CLI::App* const command = app.add_subcommand("middleware", "the middleware alone, for a host of your own");
    auto const options = std::make_shared<Options>();
    addOptions(*command, *options);
    command->add_option("--web", options->port, "serve the page too, see \"serve\"")->type_name("PORT");
    CLI::Option* const scenario =
        command->add_option("--scenario", options->scenario, "play the middleware's side of it")
            ->type_name("NAME|FILE");
    command->add_option("--patience", options->patience, "how long a step of the scenario waits at least, in seconds")
        ->type_name("SECONDS")
        ->capture_default_str();
    command->add_flag("--quiet", options->quiet, "do not print the frames");
    command->add_flag("--input", options->input, "take steps (say, send, fault) from the standard input")
        ->excludes(scenario);
    command->add_flag("--unsubscribed", options->unsubscribed, "send also what a client has not subscribed to");
    options->trace.addTo(*command);
    command->add_option("--fault", options->faultModes, "what to do wrong, may be given again")
        ->type_name("WHAT")
        ->allow_extra_args(false)
        ->check(CLI::Validator(checkFaultMode, ""));
    command->footer(
        "Answers configuration requests and prints all frames, decoded, until Ctrl-C.\n"
        "With a scenario it ends when that does, as \"zelobox demo\" does, but the host is yours: it prints\n"
        "what is to be called there and what should be seen there, and judges the frames alone.\n"
        "The file holds one object; every field may be left out:\n"
        "  " +
        lineOf(jsonOf(defaultConfig())) +
        "\n"
        "What it can do wrong, from the start or, marked *, on each connection after each answer to a\n"
        "configuration request:\n" +
        faultModeList() +
        "Examples:\n"
        "  zelobox middleware\n"
        "  zelobox middleware --config middleware.json\n"
        "  zelobox middleware --scenario film --trace film.pcapng\n"
        "  echo '{\"send\":{\"frame\":\"IPC_VOLUME\",\"value\":30}}' | zelobox middleware --input --unsubscribed\n"
        "  zelobox middleware --fault slow --fault garbage\n"
        "  zelobox middleware --socket /tmp/other_messenger");
    command->callback([options, &exitCode] { exitCode = Foreground(*options).run(); });
}

void addServeCommand(CLI::App& app, int& exitCode)
{
    CLI::App* const command = app.add_subcommand("serve", "the middleware with a page: remote control, screen, frames");
    auto const options = std::make_shared<Options>();
    options->port = WebPage::defaultPort;
    addOptions(*command, *options);
    CLI::Option* const file =
        command->add_option("--file", options->file, "show what is in this capture file, in place of a middleware")
            ->type_name("FILE")
            ->excludes(command->get_option("--socket"))
            ->excludes(command->get_option("--config"));
    command
        ->add_option("--port", options->port,
                     "of the page, otherwise " + std::to_string(WebPage::defaultPort) +
                         "; 0 for a free one, which is printed")
        ->type_name("PORT");
    CLI::Option* const host =
        command->add_flag("--host", options->host, "start a sample host too, whose callbacks the page shows");
    command->get_option("--socket")->excludes(host); // the library knows one path only
    host->excludes(file);
    command->add_option("--lib", options->sampleHost.library, "the host's libzelocobalt.so")
        ->type_name("PATH")
        ->needs(host);
    command->add_option("--stb", options->sampleHost.support, "the host's libzelostb.so")
        ->type_name("PATH")
        ->needs(host);
    command->add_option("--follow", options->follow, "show the traffic of a trace as it comes; - is the standard input")
        ->type_name("FILE")
        ->excludes(host)
        ->excludes(file);
    command->add_flag("--open", options->open, "open the page in the browser");
    command->footer("The page and its interface for scripts answer this machine only. Until Ctrl-C.\n"
                    "Examples:\n"
                    "  zelobox serve --host --open\n"
                    "  zelobox serve\n"
                    "  zelobox serve --port 0 --config middleware.json\n"
                    "  ssh box zelobox-proxy --connect /tmp/middleware --trace - | zelobox serve --follow -\n"
                    "  zelobox serve --file trace.pcapng --open\n"
                    "  curl -d '{\"key\":\"Return\"}' http://localhost:8420/api/key");
    command->callback([options, &exitCode] {
        exitCode = options->file.empty() ? Foreground(*options).run()
                                         : serveFile(options->file, *options->port, options->open);
    });
}

} // namespace zelobox
