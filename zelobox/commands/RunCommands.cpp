#include "zelobox/commands/RunCommands.h"

#include <CLI/CLI.hpp>
#include <iostream>
#include <sstream>

#include "zelobox/base/EditDistance.h"
#include "zelobox/base/Printable.h"
#include "zelobox/base/Terminal.h"
#include "zelobox/commands/Commands.h"
#include "zelobox/commands/Completion.h"

namespace zelobox {

namespace {

std::map<std::string, ColourChoice> const colourChoices = {
    {"auto", ColourChoice::Auto}, {"always", ColourChoice::Always}, {"never", ColourChoice::Never}};

void addColourOption(CLI::App& app)
{
    app.add_option_function<std::string>(
           "--color", [](std::string const& name) { chooseColour(colourChoices.at(name)); },
           "when to colour: auto is on a terminal, unless NO_COLOR is set or TERM is dumb")
        ->type_name("WHEN")
        ->check(CLI::IsMember(&colourChoices));
    for (CLI::App* const command : app.get_subcommands(nullptr)) {
        command->fallthrough();
    }
}

/// @return "did you mean --from?", or where to look
std::string hintFor(CLI::App const& app, CLI::App const* command, std::string const& word)
{
    CLI::App const& place = command != nullptr ? *command : app;
    std::string const near =
        mostSimilar(word.substr(0, word.find('=')), word[0] == '-' ? optionNames(place, app) : commandNames(app));
    std::string const help = app.get_name() + " help" + (command != nullptr ? " " + command->get_name() : "");
    return near.empty() ? "\"" + help + "\" says what there is" : "did you mean " + near + "?";
}

std::string problemOf(CLI::App const& app, CLI::App const* command, CLI::ParseError const& error)
{
    std::vector<std::string> const left = app.remaining(true);
    if (dynamic_cast<CLI::ExtrasError const*>(&error) == nullptr || left.empty()) {
        std::string const help = app.get_name() + " help" + (command != nullptr ? " " + command->get_name() : "");
        return std::string(error.what()) + "; \"" + help + "\" says more";
    }
    std::string const& word = left.front();
    if (word[0] == '-') {
        return "there is no option " + word + "; " + hintFor(app, command, word);
    }
    return command != nullptr ? "nothing is to be done with " + word + "; " + hintFor(app, command, "-")
                              : "there is no command " + word + "; " + hintFor(app, command, word);
}

void addHelpCommand(CLI::App& app, int& exitCode)
{
    CLI::App* const help = app.add_subcommand("help", "says what a command does");
    auto const name = std::make_shared<std::string>();
    help->add_option("command", *name, "the command; otherwise all are listed")->type_name("COMMAND");
    help->callback([&app, &exitCode, name] {
        exitCode = Succeeded;
        CLI::App const* const command = name->empty() ? &app : findCommand(app, *name);
        if (command == nullptr) {
            throw std::runtime_error("there is no command " + *name + "; " + hintFor(app, nullptr, *name));
        }
        // App::help() would be about this command.
        std::string const usage = app.get_name() + (command == &app ? "" : " " + command->get_name());
        std::cout << app.get_formatter()->make_help(command, usage, CLI::AppFormatMode::Normal);
    });
}

CLI::App const* chosenCommand(CLI::App const& app)
{
    std::vector<CLI::App*> const chosen = app.get_subcommands();
    return chosen.empty() ? nullptr : chosen.front();
}

} // namespace

void printProblem(std::string const& who, std::string const& problem)
{
    std::istringstream lines(problem);
    std::string text = who + ": ";
    for (std::string line; std::getline(lines, line);) {
        text += printable(line) + "\n";
    }
    std::cerr << text << std::flush;
}

int runCommands(CLI::App& app, int& exitCode, int argc, char** argv)
{
    addHelpCommand(app, exitCode);
    addColourOption(app);
    app.require_subcommand(0, 1); // a missing one is noticed below, so that a mistyped one is called by its name
    app.set_version_flag("--version", ZELOBOX_VERSION);
    app.footer("Exit codes: 0 success, 1 not as expected, 2 cannot run, 3 timed out, 130 interrupted.\n\"" +
               app.get_name() + " help COMMAND\" has examples.");
    if (printCompletions(app, argc, argv)) {
        return Succeeded;
    }
    auto const who = [&app] {
        CLI::App const* const command = chosenCommand(app);
        return app.get_name() + (command != nullptr ? " " + command->get_name() : "");
    };
    try {
        app.parse(argc, argv);
    } catch (CLI::ParseError const& error) {
        if (error.get_exit_code() == 0) {
            return app.exit(error); // help, or the version
        }
        printProblem(who(), problemOf(app, chosenCommand(app), error));
        return CannotRun;
    } catch (std::exception const& error) {
        printProblem(who(), error.what());
        return CannotRun;
    }
    if (app.get_subcommands().empty()) {
        std::cerr << app.help();
        return CannotRun;
    }
    return exitCode;
}

} // namespace zelobox
