// The commands that are of use on a box, in a program that needs nothing there.
#include <CLI/CLI.hpp>

#include "zelobox/commands/Commands.h"
#include "zelobox/commands/RunCommands.h"

int main(int argc, char** argv)
{
    CLI::App app("Records and decodes what a set-top box's middleware and its clients say to each other.",
                 "zelobox-proxy");
    int exitCode = zelobox::Succeeded;
    zelobox::addProxyCommand(app, exitCode);
    zelobox::addDecodeCommand(app, exitCode);
    return zelobox::runCommands(app, exitCode, argc, argv);
}
