#include <CLI/CLI.hpp>
#include <iostream>

#include "simulator/commands/Commands.h"

int main(int argc, char** argv)
{
    CLI::App app("A set-top box on a desk: its middleware, a sample host for libzelocobalt.so, and both together.",
                 "zelobox");
    app.require_subcommand(0, 1); // a missing one is noticed below, so that a mistyped one is called by its name
    app.set_version_flag("--version", ZELOBOX_VERSION);
    app.footer("Exit codes: 0 success, 1 not as expected, 2 cannot run, 3 timed out, 130 interrupted.\n"
               "\"zelobox COMMAND --help\" has examples.");
    int exitCode = zelobox::Succeeded;
    zelobox::addDemoCommand(app, exitCode);
    zelobox::addMiddlewareCommand(app, exitCode);
    zelobox::addHostCommand(app, exitCode);
    zelobox::addProxyCommand(app, exitCode);
    zelobox::addDecodeCommand(app, exitCode);
    try {
        app.parse(argc, argv);
    } catch (CLI::ParseError const& error) {
        return app.exit(error) == 0 ? zelobox::Succeeded : zelobox::CannotRun;
    } catch (std::exception const& error) {
        std::cerr << "zelobox: " << error.what() << std::endl;
        return zelobox::CannotRun;
    }
    if (app.get_subcommands().empty()) {
        std::cerr << app.help();
        return zelobox::CannotRun;
    }
    return exitCode;
}
