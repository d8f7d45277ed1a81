/// @file
/// What a shell offers behind the words of a command line.
#ifndef ZELO_ZELOBOX_COMPLETION_H
#define ZELO_ZELOBOX_COMPLETION_H

#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace zelobox {

/// @return null when there is none of that name
CLI::App const* findCommand(CLI::App const& app, std::string const& name);
/// @return all commands
std::vector<std::string> commandNames(CLI::App const& app);
/// @return "--from", ... of @p command, and of the program
std::vector<std::string> optionNames(CLI::App const& command, CLI::App const& app);

/// Offers what can stand where the last of @p words stands. An empty list is for the names of files.
///
/// @param words  behind the program's name; the last one may be empty
std::vector<std::string> completionsFor(CLI::App const& app, std::vector<std::string> const& words);

/// Does what the shells' own scripts ask for: "complete -- WORD...". The words are no command line of this program.
///
/// @return false for any other command line
bool printCompletions(CLI::App const& app, int argc, char const* const* argv);

} // namespace zelobox

#endif
