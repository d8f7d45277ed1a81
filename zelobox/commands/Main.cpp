#include <CLI/CLI.hpp>

#include "zelobox/commands/Commands.h"
#include "zelobox/commands/RunCommands.h"

int main(int argc, char** argv)
{
    CLI::App app("A set-top box on a desk: its middleware, a sample host for libzelocobalt.so, and both together.",
                 "zelobox");
    int exitCode = zelobox::Succeeded;
    zelobox::addDemoCommand(app, exitCode);
    zelobox::addMiddlewareCommand(app, exitCode);
    zelobox::addServeCommand(app, exitCode);
    zelobox::addHostCommand(app, exitCode);
    zelobox::addCheckCommand(app, exitCode);
    zelobox::addSendCommand(app, exitCode);
    zelobox::addWatchCommand(app, exitCode);
    zelobox::addProxyCommand(app, exitCode);
    zelobox::addTestCommand(app, exitCode);
    zelobox::addRecordCommand(app, exitCode);
    zelobox::addReplayCommand(app, exitCode);
    zelobox::addDecodeCommand(app, exitCode);
    return zelobox::runCommands(app, exitCode, argc, argv);
}
