#include "zelobox/host/HostHelp.h"

#include <algorithm>
#include <sstream>

#include "zelobox/base/EditDistance.h"

namespace zelobox {

namespace {

size_t const widthOfUsage = 25;

std::string usageOf(Host::Command const& command)
{
    return command.name + (*command.arguments == '\0' ? "" : std::string(" ") + command.arguments);
}

std::string rowOf(std::string usage, std::string const& help)
{
    usage.resize(std::max(usage.size(), widthOfUsage - 1), ' ');
    return "  " + usage + " " + help + "\n";
}

Words commandNames()
{
    Words names;
    for (Host::Command const& command : Host::commands()) {
        names.emplace_back(command.name);
    }
    return names;
}

std::string joined(Words const& words)
{
    std::string text;
    for (std::string const& word : words) {
        text += (text.empty() ? "" : ", ") + word;
    }
    return text;
}

/// @return what the first argument may be, if it has names
Words choicesOf(Host::Command const& command)
{
    return command.takesCommand ? commandNames() : command.choices;
}

std::string suggestion(std::string const& word, Words const& words, std::string const& otherwise)
{
    std::string const meant = mostSimilar(word, words);
    return meant.empty() ? otherwise : "did you mean \"" + meant + "\"?";
}

bool isNumber(std::string const& word)
{
    return !word.empty() &&
           word.find_first_not_of("0123456789", word.size() > 1 && word[0] == '-' ? 1 : 0) == std::string::npos;
}

/// A number may stand for any name.
void requireChoice(Host::Command const& command, std::string const& word)
{
    Words const& names = command.choices;
    if (!names.empty() && std::find(names.begin(), names.end(), word) == names.end() && !isNumber(word)) {
        std::string const list = "expected " + joined(names) + " or a number";
        throw InputError("\"" + word + "\" is no " + command.arguments + "; " + suggestion(word, names, list));
    }
}

} // namespace

std::string commandTable()
{
    std::string table;
    for (Host::Command const& command : Host::commands()) {
        table += rowOf(usageOf(command), command.help);
    }
    return table;
}

std::string helpOf(Host::Command const& command)
{
    std::string text = usageOf(command) + "\n  " + command.help + "\n";
    if (!command.choices.empty()) {
        text += "  " + std::string(command.arguments) + ": " + joined(command.choices) + "\n";
    }
    return text + "  Example: " + command.example + "\n";
}

Words completions(std::string const& before, std::string const& start)
{
    std::istringstream words(before);
    std::string first;
    std::string more;
    words >> first >> more;
    Words candidates;
    for (Host::Command const& command : Host::commands()) {
        if (first == command.name && more.empty()) {
            candidates = choicesOf(command);
        }
    }
    if (first.empty()) {
        candidates = commandNames();
    }
    auto const differs = [&](std::string const& word) { return word.compare(0, start.size(), start) != 0; };
    candidates.erase(std::remove_if(candidates.begin(), candidates.end(), differs), candidates.end());
    return candidates;
}

Host::Command const& findCommand(std::string const& name)
{
    for (Host::Command const& command : Host::commands()) {
        if (name == command.name) {
            return command;
        }
    }
    throw InputError("there is no command \"" + name + "\"; " +
                     suggestion(name, commandNames(), "\"help\" lists them"));
}

Words argumentsOf(Host::Command const& command, std::istream& line)
{
    Words words;
    for (std::string word; words.size() < command.count && line >> word;) {
        words.push_back(word);
    }
    std::string rest;
    std::getline(line, rest);
    if (command.takesRest && words.size() == command.count) {
        words.back() += rest;
        rest.clear();
    }
    bool const isEnough = words.size() == command.count || (command.takesCommand && words.empty());
    if (!isEnough || rest.find_first_not_of(' ') != std::string::npos) {
        std::string const count = command.count == 0   ? "no argument"
                                  : command.count == 1 ? "one argument"
                                                       : std::to_string(command.count) + " arguments";
        throw InputError(std::string("\"") + command.name + "\" takes " + count + ", as in \"" + command.example +
                         "\"");
    }
    if (!words.empty()) {
        requireChoice(command, words.front());
    }
    return words;
}

} // namespace zelobox
