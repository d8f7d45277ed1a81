#include "zelobox/web/CaptureApi.h"

#include <algorithm>
#include <utility>

#include "zelobox/base/ChildProcess.h"
#include "zelobox/web/ShownRecord.h"

namespace zelobox {

namespace {

using Event = TraceRecord::Event;

size_t const distance = 2000; // of checkpoints, in records

/// A file of several sections may go back in time.
std::vector<TraceRecord> inOrder(std::vector<TraceRecord> records)
{
    auto const isEarlier = [](TraceRecord const& one, TraceRecord const& other) { return one.time < other.time; };
    std::stable_sort(records.begin(), records.end(), isEarlier);
    return records;
}

} // namespace

void CaptureApi::Moment::take(TraceRecord const& record)
{
    if (record.event == Event::Connected) {
        clients[record.connection].since = record.time;
    } else if (record.event == Event::Disconnected) {
        clients.erase(record.connection);
    } else if (record.event == Event::Frame) {
        state.takeOver(record.frame);
        // A file that was begun late has no connect.
        Client& client = clients.emplace(record.connection, Client{record.time}).first->second;
        if (record.direction == Direction::ToMiddleware && record.frame.type == IPC_ALLOWED_MESSAGE_LIST) {
            client.allowed = allowedOf(record.frame);
        }
    }
}

CaptureApi::CaptureApi(std::vector<TraceRecord> traffic, std::string fileName)
    : records(inOrder(std::move(traffic))), name(std::move(fileName))
{
    Moment moment;
    for (size_t i = 0; i < records.size(); ++i) {
        if (i % distance == 0) {
            checkpoints.push_back(moment);
        }
        moment.take(records[i]);
    }
}

PageAnswer CaptureApi::answer(PageRequest const& request)
{
    if (request.method != "GET") {
        return errorAnswer(405, name + " is a capture file: it is read only");
    }
    return answerBy(routes(), *this, request);
}

std::vector<PageRoute<CaptureApi>> const& CaptureApi::routes()
{
    static std::vector<PageRoute<CaptureApi>> const table = {
        {"GET", "/api/state", &CaptureApi::getState},
        {"GET", "/api/records", &CaptureApi::getRecords},
        {"GET", "/api/record", &CaptureApi::getRecord},
    };
    return table;
}

PageAnswer CaptureApi::getState(PageRequest const& request)
{
    uint64_t const serial = serialAt(request);
    Moment const moment = momentAt(serial);
    Json clients = Json::array();
    for (auto const& [id, client] : moment.clients) {
        clients.push_back({{"id", id},
                           {"since", static_cast<double>(client.since) / 1e6},
                           {"process", Json()},
                           {"allowed", client.allowed}});
    }
    auto const timeOf = [this](size_t i) { return records.empty() ? 0 : static_cast<double>(records[i].time) / 1e6; };
    return jsonAnswer({{"version", ZELOBOX_VERSION},
                       {"program", calledAs()},
                       {"capture",
                        {{"name", name},
                         {"records", records.size()},
                         {"from", timeOf(0)},
                         {"to", timeOf(records.size() - 1)},
                         {"serial", serial}}},
                       {"middleware", shownState(moment.state)},
                       {"clients", clients}});
}

/// One line of JSON for each record.
PageAnswer CaptureApi::getRecords(PageRequest const& request)
{
    uint64_t const first = std::max<uint64_t>(1, queryNumber(request, "first"));
    uint64_t const count = std::min(queryNumber(request, "count"), mostAtOnce);
    PageAnswer answer;
    answer.type = "application/jsonl";
    for (uint64_t serial = first; serial < first + count && serial <= records.size(); ++serial) {
        answer.body += lineOf(shown(serial)) + "\n";
    }
    return answer;
}

PageAnswer CaptureApi::getRecord(PageRequest const& request)
{
    uint64_t const serial = queryNumber(request, "serial");
    if (serial == 0 || serial > records.size()) {
        throw InputError("serial: there are records 1 to " + std::to_string(records.size()));
    }
    TraceRecord const& record = records[serial - 1];
    Json json = {{"serial", serial}};
    json.update(jsonOf(record));
    record.forgetFields();
    return jsonAnswer(json);
}

/// @return of the last record that is wanted: by its number, by a time in microseconds, or the last of all
uint64_t CaptureApi::serialAt(PageRequest const& request) const
{
    if (request.query.count("time") != 0) {
        auto const wanted = static_cast<int64_t>(queryNumber(request, "time"));
        auto const isLater = [](int64_t time, TraceRecord const& record) { return time < record.time; };
        return static_cast<uint64_t>(std::upper_bound(records.begin(), records.end(), wanted, isLater) -
                                     records.begin());
    }
    bool const isGiven = request.query.count("serial") != 0;
    return isGiven ? std::min<uint64_t>(queryNumber(request, "serial"), records.size()) : records.size();
}

CaptureApi::Moment CaptureApi::momentAt(uint64_t serial) const
{
    if (serial == 0) {
        return Moment();
    }
    size_t const checkpoint = (serial - 1) / distance;
    Moment moment = checkpoints[checkpoint];
    for (size_t i = checkpoint * distance; i < serial; ++i) {
        moment.take(records[i]);
    }
    return moment;
}

Json CaptureApi::shown(uint64_t serial) const
{
    TraceRecord const& record = records[serial - 1];
    Json json = {{"serial", serial}};
    json.update(shownOf(record));
    record.forgetFields();
    return json;
}

} // namespace zelobox
