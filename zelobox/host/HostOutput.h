/// @file
/// The sample host's reports.
#ifndef ZELO_ZELOBOX_HOSTOUTPUT_H
#define ZELO_ZELOBOX_HOSTOUTPUT_H

#include <unistd.h>

#include <mutex>
#include <string>

#include "zelobox/protocol/Json.h"

namespace zelobox {

/// Writes reports, each as one line in one write, as JSON or for people. Any thread.
class HostOutput {
public:
    /// @param descriptor  not owned
    explicit HostOutput(bool asJson, int descriptor = STDOUT_FILENO) : json(asJson), target(descriptor) {}

    /// There is a line being typed on the same terminal: it is taken away, and drawn again by @p redrawDescriptor.
    void setRedraw(int redrawDescriptor) { redraw = redrawDescriptor; }

    /// {"callback":"key","key":13}
    void callback(std::string const& name, Json const& fields);
    /// {"result":"volume","volume":30}
    void result(std::string const& command, Json const& fields);
    /// {"result":"error","command":"...","problem":"..."}
    void error(std::string const& command, std::string const& problem);

private:
    void write(char const* subject, std::string const& name, Json const& fields);

    bool const json;
    int const target;
    int redraw = -1;
    std::mutex mutex;
};

} // namespace zelobox

#endif
