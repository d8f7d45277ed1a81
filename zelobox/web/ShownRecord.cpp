#include "zelobox/web/ShownRecord.h"

#include <algorithm>

#include "cobalt/ZeloCobalt.h"
#include "zelobox/protocol/KeyNames.h"
#include "zelobox/protocol/MessageTable.h"

namespace zelobox {

namespace {

using Event = TraceRecord::Event;

/// A page is told no more of a frame, of a text in the state, and of a list in it; it can ask for the rest.
size_t const mostShownBytes = 4096;
size_t const mostShownTypes = 200;

Json wholeOf(TraceRecord const& record)
{
    Json json = jsonOf(record);
    if (record.event == Event::Frame && record.frame.type == IPC_REMOTE_KEY) {
        auto const command = static_cast<STBCommand>(json["fields"].value("command", 0));
        json["key"] = keyName(KeyCodeToSbKey(command));
    }
    return json;
}

} // namespace

Json shownOf(TraceRecord const& record)
{
    size_t const size = record.frame.payload.size() + record.bytes.size();
    if (size <= mostShownBytes) {
        return wholeOf(record);
    }
    TraceRecord start = record;
    start.event = Event::Raw;
    start.bytes = record.event == Event::Frame ? bytesOf(record.frame) : record.bytes;
    start.bytes.resize(mostShownBytes);
    Json json = jsonOf(start);
    if (record.event == Event::Frame) {
        json.erase("event");
        json["name"] = messageName(record.frame.type);
    }
    json["fields"] = {{"length", size}};
    json["cut"] = true;
    json["size"] = size;
    return json;
}

Json shownState(MiddlewareState state)
{
    state.windowMode.resize(std::min(state.windowMode.size(), mostShownBytes));
    return jsonOf(state);
}

Json allowedOf(Frame const& list)
{
    Json allowed = Json::array();
    for (uint32_t const type : typesIn(list)) {
        if (allowed.size() == mostShownTypes) {
            allowed.push_back("and more");
            break;
        }
        bool const isType = type <= UINT16_MAX;
        allowed.push_back(isType ? messageName(static_cast<uint16_t>(type)) : "type " + std::to_string(type));
    }
    return allowed;
}

} // namespace zelobox
