#include "zelobox/commands/RunCommands.h"

#include <CLI/CLI.hpp>
#include <iostream>

#include "zelobox/commands/Commands.h"

namespace zelobox {

int runCommands(CLI::App& app, int const& exitCode, int argc, char** argv)
{
    app.require_subcommand(0, 1); // a missing one is noticed below, so that a mistyped one is called by its name
    app.set_version_flag("--version", ZELOBOX_VERSION);
    app.footer("Exit codes: 0 success, 1 not as expected, 2 cannot run, 3 timed out, 130 interrupted.\n\"" +
               app.get_name() + " COMMAND --help\" has examples.");
    try {
        app.parse(argc, argv);
    } catch (CLI::ParseError const& error) {
        return app.exit(error) == 0 ? Succeeded : CannotRun;
    } catch (std::exception const& error) {
        std::cerr << app.get_name() << ": " << error.what() << std::endl;
        return CannotRun;
    }
    if (app.get_subcommands().empty()) {
        std::cerr << app.help();
        return CannotRun;
    }
    return exitCode;
}

} // namespace zelobox
