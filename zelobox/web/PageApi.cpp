#include "zelobox/web/PageApi.h"

#include <algorithm>
#include <utility>

#include "zelobox/base/ChildProcess.h"
#include "zelobox/protocol/FrameJson.h"
#include "zelobox/protocol/MessageTable.h"
#include "zelobox/web/ShownRecord.h"

namespace zelobox {

namespace {

using Event = TraceRecord::Event;

/// The time that EventSource waits before it comes back.
char const comeBackSoon[] = "retry: 500\n";

std::string eventText(std::string const& name, Json const& data)
{
    return "event: " + name + "\ndata: " + lineOf(data) + "\n\n";
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

} // namespace

PageApi::PageApi(Middleware& controlledMiddleware, LoopExecutor& loopExecutor, std::string socketPath)
    : middleware(controlledMiddleware), calls(loopExecutor), socket(std::move(socketPath)),
      instance(std::to_string(traceTime()))
{
    middleware.addObserver(*this);
}

PageAnswer PageApi::answer(PageRequest const& request)
{
    return answerBy(routes(), *this, request);
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
            {"program", calledAs()},
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
