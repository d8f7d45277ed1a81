/// @file
/// The command line of a program with subcommands.
#ifndef ZELO_ZELOBOX_RUNCOMMANDS_H
#define ZELO_ZELOBOX_RUNCOMMANDS_H

#include <string>

namespace CLI {
class App;
}

namespace zelobox {

/// Carries out the subcommand that is named, and says what is wrong otherwise.
///
/// @param exitCode  where the subcommands of @p app store theirs
/// @return the exit code of the program
int runCommands(CLI::App& app, int& exitCode, int argc, char** argv);

/// Prints "zelobox decode: what is wrong" to the standard error, made harmless on a terminal.
void printProblem(std::string const& who, std::string const& problem);

} // namespace zelobox

#endif
