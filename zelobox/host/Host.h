/// @file
/// The sample host: starts the library, is called back by it, and carries out commands.
#ifndef ZELO_ZELOBOX_HOST_H
#define ZELO_ZELOBOX_HOST_H

#include <chrono>
#include <future>
#include <string>
#include <vector>

#include "zelobox/host/HostLibrary.h"
#include "zelobox/host/HostOutput.h"

namespace zelobox {

using Words = std::vector<std::string>;

/// One for the process: the library's callbacks carry no context.
class Host {
public:
    struct Command {
        char const* name;
        char const* arguments; ///< "X Y WIDTH HEIGHT", for people
        size_t count;          ///< of the arguments
        std::string help;
        char const* example;
        /// @return what the call answered; null if the answer is given elsewhere
        Json (Host::*carryOut)(Words const& arguments);
        Words choices = {};        ///< what the first argument may be beside a number, if it has names
        bool takesRest = false;    ///< the last argument is the rest of the line
        bool takesCommand = false; ///< the argument is a command's name, and may be left out
    };

    Host(HostLibrary& loadedLibrary, HostOutput& hostOutput);
    /// Stops the library.
    ~Host();
    Host(Host const&) = delete;
    Host& operator=(Host const&) = delete;

    static std::vector<Command> const& commands();

    /// Carries out one line: a command and its arguments. Reports the answer, or what is wrong with the line.
    ///
    /// @return false if it was "quit"
    bool carryOut(std::string const& line);

private:
    Json start(Words const& arguments);
    Json stop(Words const& arguments);
    Json video(Words const& arguments);
    Json previous(Words const& arguments);
    Json volume(Words const& arguments);
    Json env(Words const& arguments);
    Json display(Words const& arguments);
    Json ui(Words const& arguments);
    Json capabilities(Words const& arguments);
    Json key(Words const& arguments);
    Json cdm(Words const& arguments);
    Json level(Words const& arguments);
    Json drm(Words const& arguments);
    Json log(Words const& arguments);
    Json help(Words const& arguments);
    Json quit(Words const& arguments);

    bool isStarting(std::chrono::milliseconds patience) const;
    void requireDrm() const;

    HostLibrary& library;
    HostOutput& output;
    std::future<void> starting; // ZeloStartApp() blocks
    bool hasQuit = false;
};

} // namespace zelobox

#endif
