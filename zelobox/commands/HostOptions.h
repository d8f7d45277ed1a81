/// @file
/// The options by which a command starts the sample host.
#ifndef ZELO_ZELOBOX_HOSTOPTIONS_H
#define ZELO_ZELOBOX_HOSTOPTIONS_H

#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace zelobox {

struct HostOptions {
    std::string command;
    std::string library;
    std::string support;

    void addTo(CLI::App& app);
    /// @return the process and its arguments
    std::vector<std::string> arguments() const;
};

} // namespace zelobox

#endif
