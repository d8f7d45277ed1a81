#include "zelobox/protocol/Trace.h"

#include <chrono>
#include <cmath>

#include "zelobox/protocol/FrameJson.h"
#include "zelobox/protocol/FrameReader.h"
#include "zelobox/protocol/MessageTable.h"

namespace zelobox {

namespace {

using Event = TraceRecord::Event;
using Microseconds = std::chrono::microseconds;

template <typename Clock> int64_t nowOf()
{
    return std::chrono::duration_cast<Microseconds>(Clock::now().time_since_epoch()).count();
}

char const* nameOf(Direction direction)
{
    return direction == Direction::ToHost ? "toHost" : "toMiddleware";
}

Direction directionFrom(JsonFields& fields)
{
    std::string const name = fields.text("direction");
    if (name != nameOf(Direction::ToHost) && name != nameOf(Direction::ToMiddleware)) {
        fields.fail("direction", "expected \"toHost\" or \"toMiddleware\", found \"" + name + "\"");
    }
    return name == nameOf(Direction::ToHost) ? Direction::ToHost : Direction::ToMiddleware;
}

int64_t timeFrom(JsonFields& fields)
{
    Json const& time = fields.value("time");
    if (!time.is_number() || time.get<double>() < 0 || time.get<double>() > 1e12) {
        fields.fail("time", "expected seconds since 1970, found " + lineOf(time));
    }
    return std::llround(time.get<double>() * 1e6);
}

Frame frameFrom(JsonFields& fields)
{
    std::optional<Frame> frame = frameFromBytes(fields.bytes("hex"));
    if (!frame) {
        fields.fail("hex", "is not one whole frame");
    }
    return std::move(*frame);
}

void addFrame(TraceRecord const& record, Json& json)
{
    json["direction"] = nameOf(record.direction);
    json["name"] = messageName(record.frame.type);
    json["kind"] = record.frame.kind;
    json["type"] = record.frame.type;
    json["fields"] = record.fields();
    json["hex"] = hexOf(bytesOf(record.frame));
}

void readEvent(JsonFields& fields, TraceRecord& record)
{
    std::string const event = fields.text("event");
    if (event == "connected") {
        record.event = Event::Connected;
    } else if (event == "disconnected") {
        record.event = Event::Disconnected;
        record.reason = fields.text("reason", "");
    } else if (event == "raw") {
        record.event = Event::Raw;
        record.direction = directionFrom(fields);
        record.bytes = fields.bytes("hex");
    } else {
        fields.fail("event", "expected \"connected\", \"disconnected\" or \"raw\", found \"" + event + "\"");
    }
}

} // namespace

Json const& TraceRecord::fields() const
{
    if (!*decoded) {
        *decoded = fieldsOf(frame);
    }
    return **decoded;
}

int64_t traceTime()
{
    // The wall clock is read once: it may be set while the program runs.
    static int64_t const offset = nowOf<std::chrono::system_clock>() - nowOf<std::chrono::steady_clock>();
    return offset + nowOf<std::chrono::steady_clock>();
}

Json jsonOf(TraceRecord const& record)
{
    Json json = {{"time", static_cast<double>(record.time) / 1e6}, {"connection", record.connection}};
    switch (record.event) {
    case Event::Connected:
        json["event"] = "connected";
        break;
    case Event::Disconnected:
        json["event"] = "disconnected";
        json["reason"] = record.reason;
        break;
    case Event::Raw:
        json["direction"] = nameOf(record.direction);
        json["event"] = "raw";
        json["hex"] = hexOf(record.bytes);
        break;
    case Event::Frame:
        addFrame(record, json);
        break;
    }
    return json;
}

TraceRecord traceRecordFrom(Json const& json, std::string const& where)
{
    JsonFields fields(json, where);
    TraceRecord record;
    record.time = timeFrom(fields);
    record.connection = static_cast<unsigned>(fields.number("connection", UINT32_MAX));
    if (fields.has("event")) {
        readEvent(fields, record);
    } else {
        record.direction = directionFrom(fields);
        record.frame = frameFrom(fields);
    }
    return record;
}

std::string textOf(TraceRecord const& record)
{
    switch (record.event) {
    case Event::Connected:
        return "connected";
    case Event::Disconnected:
        return "disconnected: " + record.reason;
    case Event::Raw:
        return "raw bytes " + hexOf(record.bytes);
    case Event::Frame:
        break;
    }
    return textOf(record.frame, record.fields());
}

} // namespace zelobox
