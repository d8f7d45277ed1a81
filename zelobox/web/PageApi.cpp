#include "zelobox/web/PageApi.h"

#include <algorithm>
#include <utility>

#include "cobalt/ZeloCobalt.h"
#include "zelobox/protocol/FrameJson.h"
#include "zelobox/protocol/KeyNames.h"
#include "zelobox/protocol/MessageTable.h"
#include "zelobox/protocol/PayloadValues.h"

namespace zelobox {

namespace {

using Event = TraceRecord::Event;

/// A page is told no more of a frame, of a text in the state, and of a list in it; it can ask for the rest.
size_t const mostShownBytes = 4096;
size_t const mostShownTypes = 200;

/// The time that EventSource waits before it comes back.
char const comeBackSoon[] = "retry: 500\n";

std::string eventText(std::string const& name, Json const& data)
{
    return "event: " + name + "\ndata: " + lineOf(data) + "\n\n";
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

Json wholeOf(TraceRecord const& record)
{
    Json json = jsonOf(record);
    if (record.event == Event::Frame && record.frame.type == IPC_REMOTE_KEY) {
        auto const command = static_cast<STBCommand>(json["fields"].value("command", 0));
        json["key"] = keyName(KeyCodeToSbKey(command));
    }
    return json;
}

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

std::string shownLine(History::Entry const& entry)
{
    Json shown = {{"serial", entry.serial}};
    shown.update(entry.callback.is_null() ? shownOf(entry.record) : entry.callback);
    return lineOf(shown);
}

/// @return null if it is not known
Json jsonOf(ClientProcess const& process)
{
    return process.id == 0 ? Json() : Json{{"id", process.id}, {"name", process.name}};
}

Json shownState(MiddlewareState state)
{
    state.windowMode.resize(std::min(state.windowMode.size(), mostShownBytes));
    return jsonOf(state);
}

} // namespace

PageAnswer errorAnswer(int status, std::string const& problem)
{
    PageAnswer answer;
    answer.status = status;
    answer.body = lineOf({{"error", problem}}) + "\n";
    return answer;
}

PageApi::PageApi(Middleware& controlledMiddleware, LoopExecutor& loopExecutor, std::string socketPath)
    : middleware(controlledMiddleware), calls(loopExecutor), socket(std::move(socketPath)),
      instance(std::to_string(traceTime()))
{
    middleware.addObserver(*this);
}

PageAnswer PageApi::answer(PageRequest const& request)
{
    PageAnswer wrongMethod = errorAnswer(404, request.path + " is nothing here; docs/zelobox.md lists what is");
    for (Route const& route : routes()) {
        if (request.path == route.path && request.method == route.method) {
            try {
                return (this->*route.carryOut)(request);
            } catch (InputError const& error) {
                return errorAnswer(400, error.what());
            }
        }
        if (request.path == route.path) {
            wrongMethod = errorAnswer(405, request.path + " takes " + route.method + ", not " + request.method);
            wrongMethod.allowed = route.method;
        }
    }
    return wrongMethod;
}

std::shared_ptr<EventStream> PageApi::openStream(std::string const& lastEventId)
{
    tellRecords(); // to the others; this one is told all
    tell("");      // forgets those that have gone
    if (streams.size() >= mostStreams) {
        return nullptr;
    }
    auto stream = std::make_shared<EventStream>();
    stream->push(comeBackSoon + eventText("hello", {{"instance", instance}}) + eventText("state", state()));
    uint64_t const known = knownSerial(lastEventId);
    auto const& entries = history.entries();
    size_t const first = entries.size() > mostTold ? entries.size() - mostTold : 0;
    std::string lines;
    for (size_t i = first; i < entries.size(); ++i) {
        if (entries[i].serial > known) {
            lines += "data: " + shownLine(entries[i]) + "\n";
            entries[i].record.forgetFields();
        }
    }
    if (!lines.empty()) {
        stream->push(recordsEvent(lines, history.lastSerial()));
    }
    streams.push_back(stream);
    return stream;
}

void PageApi::closeStreams()
{
    for (auto const& stream : streams) {
        stream->close();
    }
    streams.clear();
}

void PageApi::onTraffic(TraceRecord const& record)
{
    noteClient(record);
    History::Entry const& entry = history.add(record);
    auto const client = clients.find(record.connection);
    if (client != clients.end()) {
        client->second.causes.note(entry.serial, record);
    }
    tell(entry);
}

void PageApi::onCallback(pid_t host, Json const& report)
{
    TraceRecord record;
    record.time = traceTime();
    Json fields = report;
    std::string const name = fields.value("callback", "");
    fields.erase("callback");
    Json callback = {{"event", "callback"}, {"callback", name}, {"fields", fields}};
    auto const isHost = [host](auto const& client) { return client.second.process.id == host; };
    auto const client = std::find_if(clients.begin(), clients.end(), isHost);
    if (client != clients.end()) {
        record.connection = client->first;
        callback["process"] = jsonOf(client->second.process);
        if (auto const cause = client->second.causes.take(name)) {
            callback["cause"] = fieldsOf(cause->frame);
            callback["cause"].update({{"serial", cause->serial}, {"name", messageName(cause->frame.type)}});
            callback["afterMs"] = static_cast<double>(record.time - cause->time) / 1e3;
        }
    }
    callback["time"] = static_cast<double>(record.time) / 1e6;
    callback["connection"] = record.connection;
    tell(history.add(record, callback));
}

void PageApi::tell(History::Entry const& entry)
{
    if (!streams.empty()) {
        untold += "data: " + shownLine(entry) + "\n";
    }
    tellSoon();
}

Json PageApi::state() const
{
    Json list = Json::array();
    for (auto const& [id, client] : clients) {
        list.push_back({{"id", id},
                        {"since", static_cast<double>(client.since) / 1e6},
                        {"process", jsonOf(client.process)},
                        {"allowed", client.allowed}});
    }
    Json lasting = Json::array();
    for (FaultMode const what : middleware.faultModes()) {
        lasting.push_back(infoOf(what).name);
    }
    return {{"version", ZELOBOX_VERSION},
            {"instance", instance},
            {"socket", socket},
            {"middleware", shownState(middleware.state())},
            {"clients", list},
            {"faults", lasting},
            {"records", {{"kept", history.entries().size()}, {"total", history.lastSerial()}}}};
}

void PageApi::noteClient(TraceRecord const& record)
{
    if (record.event == Event::Connected) {
        clients[record.connection].since = record.time;
        clients[record.connection].process = middleware.process(record.connection);
    } else if (record.event == Event::Disconnected) {
        clients.erase(record.connection);
    } else if (record.event == Event::Frame && record.direction == Direction::ToMiddleware &&
               record.frame.type == IPC_ALLOWED_MESSAGE_LIST) {
        clients[record.connection].allowed = allowedOf(record.frame);
    }
}

void PageApi::tell(std::string const& text)
{
    for (auto const& stream : streams) {
        stream->push(text);
    }
    auto const hasGone = [](auto const& stream) { return stream->isClosed(); };
    streams.erase(std::remove_if(streams.begin(), streams.end(), hasGone), streams.end());
}

void PageApi::tellRecords()
{
    if (!untold.empty()) {
        tell(recordsEvent(std::exchange(untold, std::string()), history.lastSerial()));
    }
}

/// @param lines  one after the other, the last of which is the record with @p lastSerial
std::string PageApi::recordsEvent(std::string const& lines, uint64_t lastSerial) const
{
    return "id: " + instance + "-" + std::to_string(lastSerial) + "\nevent: records\n" + lines + "\n";
}

/// @return 0 for an id that is not one of this process's
uint64_t PageApi::knownSerial(std::string const& lastEventId) const
{
    std::string const prefix = instance + "-";
    if (lastEventId.compare(0, prefix.size(), prefix) != 0) {
        return 0;
    }
    try {
        return std::stoull(lastEventId.substr(prefix.size()));
    } catch (std::logic_error const&) {
        return 0;
    }
}

/// Posted, because observers are called before the middleware changes its state; and once a turn, because there are
/// often several records in one.
void PageApi::tellSoon()
{
    if (!willTell) {
        willTell = true;
        calls.post([this] {
            willTell = false;
            tellRecords();
            tell(eventText("state", state()));
        });
    }
}

} // namespace zelobox
