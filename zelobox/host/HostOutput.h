/// @file
/// What the sample host reports.
#ifndef ZELO_ZELOBOX_HOSTOUTPUT_H
#define ZELO_ZELOBOX_HOSTOUTPUT_H

#include <mutex>
#include <string>

#include "zelobox/protocol/Json.h"

namespace zelobox {

/// Writes reports to stdout, one line each, as JSON or for people. Any thread.
class HostOutput {
public:
    explicit HostOutput(bool asJson) : json(asJson) {}

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
    int redraw = -1;
    std::mutex mutex;
};

} // namespace zelobox

#endif
