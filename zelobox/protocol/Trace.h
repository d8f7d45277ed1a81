/// @file
/// The record of what crossed the socket, one event at a time. Everything that shows, stores or compares traffic works
/// on these records; a trace file holds one as JSON on each line.
///
///     {"time":1795219200.012345,"connection":1,"event":"connected"}
///     {"time":1795219200.013,"connection":1,"direction":"toHost","name":"IPC_VOLUME","kind":1,"type":39,
///      "fields":{"value":30},"hex":"6d010027000000040000001e"}
///     {"time":1795219200.5,"connection":1,"direction":"toHost","event":"raw","hex":"00ff"}
///     {"time":1795219201.2,"connection":1,"event":"disconnected","reason":"closed by the client"}
#ifndef ZELO_ZELOBOX_TRACE_H
#define ZELO_ZELOBOX_TRACE_H

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "zelobox/protocol/Frame.h"
#include "zelobox/protocol/Json.h"

namespace zelobox {

enum class Direction { ToHost, ToMiddleware };

class TraceRecord {
public:
    enum class Event {
        Connected,
        Disconnected,
        Frame,
        Raw, ///< bytes that are no frame
    };

    int64_t time = 0;        ///< microseconds since 1970; never goes back within a process
    unsigned connection = 0; ///< from 1, in the order of the connects
    Event event = Event::Frame;
    Direction direction = Direction::ToHost; ///< of a frame and of raw bytes
    Frame frame;
    std::vector<char> bytes; ///< raw bytes
    std::string reason;      ///< of a disconnect

    /// Decodes the frame when this is first called, for this record and its copies.
    ///
    /// @return see fieldsOf(); valid until forgetFields()
    Json const& fields() const;
    /// Gives the memory back, which may be many times that of the frame.
    void forgetFields() const { decoded->reset(); }

private:
    std::shared_ptr<std::optional<Json>> decoded = std::make_shared<std::optional<Json>>();
};

/// @return now, for TraceRecord::time
int64_t traceTime();

Json jsonOf(TraceRecord const& record);

/// Reads what jsonOf() gives; the decoded fields are not looked at, the bytes say all.
///
/// @throw InputError
TraceRecord traceRecordFrom(Json const& json, std::string const& where);

/// @return "IPC_VOLUME value=30", "connected", "disconnected: closed by the client", "raw bytes 00ff"
std::string textOf(TraceRecord const& record);

} // namespace zelobox

#endif
