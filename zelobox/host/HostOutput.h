/// @file
/// The sample host's reports.
#ifndef ZELO_ZELOBOX_HOSTOUTPUT_H
#define ZELO_ZELOBOX_HOSTOUTPUT_H

#include <unistd.h>

#include <mutex>
#include <string>

#include "zelobox/protocol/Json.h"

namespace zelobox {

/// Writes reports, each in one write, as lines of JSON or for people: on a terminal callbacks have a colour of their own.
/// Any thread.
class HostOutput {
public:
    /// @param descriptor  not owned
    explicit HostOutput(bool asJson, int descriptor = STDOUT_FILENO)
        : json(asJson), target(descriptor), hasColours(isatty(descriptor) != 0)
    {
    }

    /// There is a line being typed on the same terminal: it is taken away, and drawn again by @p redrawDescriptor.
    void setRedraw(int redrawDescriptor) { redraw = redrawDescriptor; }

    /// {"callback":"key","key":13}
    void callback(std::string const& name, Json const& fields);
    /// {"result":"volume","volume":30}
    ///
    /// @param text  whole lines for people, in place of the fields
    void result(std::string const& command, Json const& fields, std::string const& text = "");
    /// {"result":"error","command":"...","problem":"..."}
    void error(std::string const& command, std::string const& problem);

private:
    static std::string jsonLine(char const* subject, std::string const& name, Json const& fields);
    std::string lineForPeople(char const* colour, std::string const& subject, std::string const& name,
                              Json const& fields) const;
    std::string coloured(char const* colour, std::string const& text) const;
    void write(std::string const& lines);

    bool const json;
    int const target;
    bool const hasColours;
    int redraw = -1;
    std::mutex mutex;
};

} // namespace zelobox

#endif
