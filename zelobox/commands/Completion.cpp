#include "zelobox/commands/Completion.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <iostream>

namespace zelobox {

namespace {

void addOptionsOf(CLI::App const& app, std::vector<std::string>& names)
{
    for (CLI::Option const* const option : app.get_options()) {
        for (std::string const& name : option->get_lnames()) {
            names.push_back("--" + name);
        }
    }
}

/// @return what the option takes, if that is a list of names: its help says "{raw,hex}"
std::vector<std::string> valuesOf(CLI::App const& command, std::string const& optionName)
{
    CLI::Option const* const option = command.get_option_no_throw(optionName);
    std::string const type = option != nullptr ? option->get_type_name() : "";
    size_t const begin = type.find('{');
    size_t const end = type.find('}', begin);
    if (begin == std::string::npos || end == std::string::npos) {
        return {};
    }
    return CLI::detail::split(type.substr(begin + 1, end - begin - 1), ',');
}

} // namespace

CLI::App const* findCommand(CLI::App const& app, std::string const& name)
{
    auto const found = app.get_subcommands([&name](CLI::App const* command) { return command->get_name() == name; });
    return found.empty() ? nullptr : found.front();
}

std::vector<std::string> commandNames(CLI::App const& app)
{
    std::vector<std::string> names;
    for (CLI::App const* const command : app.get_subcommands(nullptr)) {
        names.push_back(command->get_name());
    }
    return names;
}

std::vector<std::string> optionNames(CLI::App const& command, CLI::App const& app)
{
    std::vector<std::string> names;
    addOptionsOf(command, names);
    if (&command != &app) {
        addOptionsOf(app, names);
    }
    std::sort(names.begin(), names.end());
    names.erase(std::unique(names.begin(), names.end()), names.end());
    return names;
}

std::vector<std::string> completionsFor(CLI::App const& app, std::vector<std::string> const& words)
{
    std::vector<std::string> offered;
    std::string const last = words.empty() ? "" : words.back();
    CLI::App const* const command = words.size() > 1 ? findCommand(app, words[0]) : nullptr;
    if (words.size() < 2) {
        offered = last.rfind("--", 0) == 0 ? optionNames(app, app) : commandNames(app);
    } else if (words[0] == "help") {
        offered = commandNames(app);
    } else if (command != nullptr && last.rfind('-', 0) == 0) {
        offered = optionNames(*command, app);
    } else if (command != nullptr) {
        std::string const& before = words[words.size() - 2];
        offered = valuesOf(*command, before);
        offered = offered.empty() ? valuesOf(app, before) : offered;
    }
    offered.erase(std::remove_if(offered.begin(), offered.end(),
                                 [&last](std::string const& word) { return word.rfind(last, 0) != 0; }),
                  offered.end());
    return offered;
}

bool printCompletions(CLI::App const& app, int argc, char const* const* argv)
{
    std::vector<std::string> const words(argv, argv + argc);
    if (words.size() < 3 || words[1] != "complete" || words[2] != "--") {
        return false;
    }
    for (std::string const& word : completionsFor(app, {words.begin() + 3, words.end()})) {
        std::cout << word << "\n";
    }
    return true;
}

} // namespace zelobox
