/// @file
/// What the sample host's prompt says of its commands, and how it completes them.
#ifndef ZELO_ZELOBOX_HOSTHELP_H
#define ZELO_ZELOBOX_HOSTHELP_H

#include <string>

#include "zelobox/host/Host.h"

namespace zelobox {

/// @return every command with its arguments, one on each line
std::string commandTable();

/// @return how a command is called and what it does, with an example, on several lines
std::string helpOf(Host::Command const& command);

/// @param before  the line up to the word
/// @return the words that begin with @p start and may stand there
Words completions(std::string const& before, std::string const& start);

/// @throw InputError that says which command may be meant
Host::Command const& findCommand(std::string const& name);

/// Looks at the words before a command gets them: their number, and those that have names.
///
/// @param line  behind the command's name
/// @throw InputError that says what is expected, and which name may be meant
Words argumentsOf(Host::Command const& command, std::istream& line);

} // namespace zelobox

#endif
