#include "zelobox/commands/HostOptions.h"

#include <CLI/CLI.hpp>

#include "zelobox/base/ChildProcess.h"

namespace zelobox {

void HostOptions::addTo(CLI::App& app)
{
    app.add_option("--host-command", command, "shell command that starts zelobox for the host's side")
        ->type_name("COMMAND");
    app.add_option("--lib", library, "the host's libzelocobalt.so")->type_name("PATH");
    app.add_option("--stb", support, "the host's libzelostb.so")->type_name("PATH");
}

std::vector<std::string> HostOptions::arguments() const
{
    std::vector<std::string> words = {ownProgram()};
    if (!command.empty()) {
        words = {"/bin/sh", "-c", "exec " + command + " \"$@\"", "sh"};
    }
    words.insert(words.end(), {"host", "--json", "--no-start", "--log-level", "3"});
    if (!library.empty()) {
        words.insert(words.end(), {"--lib", library});
    }
    if (!support.empty()) {
        words.insert(words.end(), {"--stb", support});
    }
    return words;
}

} // namespace zelobox
