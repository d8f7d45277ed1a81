// The commands that are of use on a box, in a program that needs nothing there.
#include <CLI/CLI.hpp>

#include "zelobox/commands/Commands.h"
#include "zelobox/commands/RunCommands.h"

int main(int argc, char** argv)
{
    // What the program is named after needs no name.
    std::vector<char*> words(argv, argv + argc);
    std::string const first = argc > 1 ? argv[1] : "";
    std::string proxy = "proxy";
    if (first.size() > 1 && first[0] == '-' && first != "--help" && first != "-h" && first != "--version") {
        words.insert(words.begin() + 1, proxy.data());
    }
    CLI::App app("Records and decodes what a set-top box's middleware and its clients say to each other.",
                 "zelobox-proxy");
    int exitCode = zelobox::Succeeded;
    zelobox::addProxyCommand(app, exitCode);
    zelobox::addDecodeCommand(app, exitCode);
    return zelobox::runCommands(app, exitCode, static_cast<int>(words.size()), words.data());
}
