#include <stdlib.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <iostream>

#include "zelobox/base/LineReader.h"
#include "zelobox/base/StopSignals.h"
#include "zelobox/commands/Commands.h"
#include "zelobox/host/HostHelp.h"
#include "zelobox/host/LineEditor.h"

namespace zelobox {

namespace {

struct Options {
    std::string library;
    std::string support;
    bool json = false;
    bool noStart = false;
    int logLevel = 4;
};

/// Takes the commands, from a terminal with a prompt.
class Commands {
public:
    Commands(EventLoop& eventLoop, std::function<bool(std::string const&)> carryOut)
        : loop(eventLoop), onCommand(std::move(carryOut))
    {
        if (isOnTerminal()) {
            std::cout << "Type \"help\" for what this host can do"
                      << (LineEditor::isPossible() ? "; Tab completes" : "") << "; Ctrl-D ends it." << std::endl;
        }
        if (LineEditor::isPossible()) {
            editor = std::make_unique<LineEditor>(
                loop, [this](std::string const* line) { ended = ended || line == nullptr || !onCommand(*line); });
        } else {
            prompt();
            loop.watch(STDIN_FILENO, [this] { read(); });
        }
    }
    ~Commands() { loop.forget(STDIN_FILENO); }
    Commands(Commands const&) = delete;
    Commands& operator=(Commands const&) = delete;

    bool haveEnded() const { return ended; }
    /// @return see LineEditor; -1 if there is none
    int redrawDescriptor() const { return editor ? editor->redrawDescriptor() : -1; }

private:
    void read()
    {
        bool const more = reader.read(STDIN_FILENO, [this](std::string const& line) {
            ended = ended || !onCommand(line);
            prompt();
        });
        ended = ended || !more;
    }

    static bool isOnTerminal() { return isatty(STDIN_FILENO) != 0 && isatty(STDOUT_FILENO) != 0; }

    void prompt() const
    {
        if (!ended && isOnTerminal()) {
            std::cout << promptText << std::flush;
        }
    }

    EventLoop& loop;
    std::function<bool(std::string const&)> const onCommand;
    std::unique_ptr<LineEditor> editor;
    LineReader reader;
    bool ended = false;
};

int run(Options const& options)
{
    setenv("ZELOSTB_LOG_LEVEL", std::to_string(options.logLevel).c_str(), 1);
    EventLoop loop;
    bool interrupted = false;
    StopSignals const signals(loop, [&interrupted] { interrupted = true; });
    HostLibrary library(options.support.empty() ? defaultLibrary("libzelostb.so") : options.support,
                        options.library.empty() ? defaultLibrary("libzelocobalt.so") : options.library);
    HostOutput output(options.json);
    Host* running = nullptr;
    Commands commands(loop, [&running](std::string const& line) { return running->carryOut(line); });
    if (commands.redrawDescriptor() >= 0) {
        output.setRedraw(commands.redrawDescriptor());
        setenv("ZELOSTB_LOG_REDRAW", std::to_string(commands.redrawDescriptor()).c_str(), 1);
    }
    Host host(library, output);
    running = &host;
    if (!options.noStart) {
        host.carryOut("start");
    }
    loop.run(EventLoop::Clock::time_point::max(), [&] { return interrupted || commands.haveEnded(); });
    return Succeeded;
}

} // namespace

void addHostCommand(CLI::App& app, int& exitCode)
{
    CLI::App* const command = app.add_subcommand("host", "the sample host alone, for a middleware of your own");
    auto const options = std::make_shared<Options>();
    command->add_option("--lib", options->library, "libzelocobalt.so, otherwise the one beside this program")
        ->type_name("PATH");
    command->add_option("--stb", options->support, "libzelostb.so, otherwise the one beside this program")
        ->type_name("PATH");
    command->add_option("--log-level", options->logLevel, "log up to this level, 0 to 5")
        ->check(CLI::Range(0, 5))
        ->capture_default_str();
    command->add_flag("--json", options->json, "report as JSON Lines");
    command->add_flag("--no-start", options->noStart, "wait for the command \"start\"");
    command->footer("Prints every callback and carries out commands from the standard input, on a terminal with\n"
                    "completion (Tab) and history:\n" +
                    commandTable() +
                    "Examples:\n"
                    "  zelobox host\n"
                    "  zelobox host --lib /usr/lib/libzelocobalt.so --log-level 5\n"
                    "  (sleep 1; echo \"video 0 0 640 360\"; sleep 1) | zelobox host --json");
    command->callback([options, &exitCode] { exitCode = run(*options); });
}

} // namespace zelobox
