/// @file
/// A timeline for people: a line for each event, with time, who and what.
#ifndef ZELO_ZELOBOX_TIMELINE_H
#define ZELO_ZELOBOX_TIMELINE_H

#include <optional>
#include <ostream>
#include <string>

#include "zelobox/middleware/Middleware.h"

namespace zelobox {

/// Prints a line for everything that it sees; the times begin with the first line.
class Timeline final : public Middleware::Observer {
public:
    /// @param coloured  for a terminal
    Timeline(std::ostream& target, bool coloured) : stream(target), colours(coloured) {}

    /// Leaves it to the stream when something is written.
    void setBuffered() { buffered = true; }

    /// "   0.012  host        calls volume"
    void line(std::string const& who, std::string const& what);
    void heading(std::string const& text);

    /// "   0.012  library     1 sends IPC_VOLUME value=30": on connection 1. Frames and raw bytes to the middleware
    /// come from the "library"; everything else is the "middleware"'s.
    void onTraffic(TraceRecord const& record) override;

private:
    void write(int64_t time, std::string const& who, std::string const& what, char const* colour);

    std::ostream& stream;
    bool const colours;
    bool buffered = false;
    std::optional<int64_t> begin;
};

} // namespace zelobox

#endif
