#include <algorithm>
#include <set>
#include <sstream>

#include "cobalt/ZeloCobalt.h"
#include "zelobox/protocol/BrowserConfigJson.h"
#include "zelobox/protocol/BrowserConfigPayload.h"
#include "zelobox/protocol/FrameJson.h"
#include "zelobox/protocol/KeyNames.h"
#include "zelobox/protocol/MessageTable.h"
#include "zelobox/protocol/TraceFile.h"
#include "zelobox/web/PageApi.h"

namespace zelobox {

namespace {

/// KeyCodeToSbKey() knows no others.
uint32_t const firstCommand = 2;
uint32_t const lastCommand = 76;

size_t const mostShownText = 200;

/// Whether @p what ends or blocks the thread that the page needs too.
bool takesThePageAlong(FaultMode what)
{
    std::set<FaultMode> const all = {FaultMode::BlockOnWrite, FaultMode::DieOnVanish, FaultMode::DieOnGarbage,
                                     FaultMode::DieOnLie};
    return all.count(what) != 0;
}

/// @throw InputError
Json parsed(PageRequest const& request)
{
    try {
        return Json::parse(request.body);
    } catch (Json::parse_error const& error) {
        throw InputError(std::string("the body is no JSON: ") + error.what());
    }
}

uint32_t keyOf(uint32_t command)
{
    return KeyCodeToSbKey(static_cast<STBCommand>(command));
}

/// @throw InputError
uint32_t commandNamed(std::string const& name, JsonFields const& fields)
{
    for (uint32_t command = firstCommand; command <= lastCommand; ++command) {
        if (keyOf(command) != 0 && keyName(keyOf(command)) == name) {
            return command;
        }
    }
    fields.fail("key", "there is no key \"" + name + "\"; GET /api/keys lists them");
}

} // namespace

std::vector<PageRoute<PageApi>> const& PageApi::routes()
{
    static std::vector<PageRoute<PageApi>> const table = {
        {"GET", "/api/state", &PageApi::getState},       {"GET", "/api/keys", &PageApi::getKeys},
        {"GET", "/api/messages", &PageApi::getMessages}, {"GET", "/api/faults", &PageApi::getFaults},
        {"GET", "/api/trace", &PageApi::getTrace},       {"POST", "/api/send", &PageApi::postSend},
        {"POST", "/api/key", &PageApi::postKey},         {"POST", "/api/config", &PageApi::postConfig},
        {"POST", "/api/fault", &PageApi::postFault},     {"GET", "/api/record", &PageApi::getRecord},
        {"POST", "/api/resend", &PageApi::postResend},
    };
    return table;
}

PageAnswer PageApi::getState(PageRequest const&)
{
    return jsonAnswer(state());
}

PageAnswer PageApi::getKeys(PageRequest const&)
{
    Json keys = Json::array();
    for (uint32_t command = firstCommand; command <= lastCommand; ++command) {
        if (keyOf(command) != 0) {
            keys.push_back({{"command", command}, {"key", keyOf(command)}, {"name", keyName(keyOf(command))}});
        }
    }
    return jsonAnswer(keys);
}

PageAnswer PageApi::getMessages(PageRequest const&)
{
    Json messages = Json::array();
    for (MessageInfo const& info : messageTable()) {
        messages.push_back({{"name", info.name}, {"type", info.type}, {"toHost", info.toHost}});
    }
    return jsonAnswer(messages);
}

PageAnswer PageApi::getFaults(PageRequest const&)
{
    Json list = Json::array();
    for (FaultModeInfo const& info : faultModeTable()) {
        if (!takesThePageAlong(info.what)) {
            list.push_back({{"name", info.name}, {"lasts", info.lasts}, {"help", info.help}});
        }
    }
    return jsonAnswer(list);
}

PageAnswer PageApi::getTrace(PageRequest const& request)
{
    auto const found = request.query.find("format");
    std::string const format = found != request.query.end() ? found->second : "jsonl";
    if (format != "jsonl" && format != "pcapng") {
        throw InputError("format: expected jsonl or pcapng, found " + format);
    }
    PageAnswer answer;
    answer.type = format == "jsonl" ? "application/jsonl" : "application/x-pcapng";
    answer.fileName = "zelobox." + format;
    std::ostringstream file;
    TraceWriter writer(file, format == "jsonl" ? TraceFormat::JsonLines : TraceFormat::Pcapng);
    for (History::Entry const& entry : history.entries()) {
        if (entry.callback.is_null()) {
            writer.write(entry.record);
            entry.record.forgetFields();
        }
    }
    answer.body = file.str();
    return answer;
}

PageAnswer PageApi::getRecord(PageRequest const& request)
{
    History::Entry const& entry = entryOf(queryNumber(request, "serial"));
    Json json = {{"serial", entry.serial}};
    json.update(entry.callback.is_null() ? jsonOf(entry.record) : entry.callback);
    entry.record.forgetFields();
    return jsonAnswer(json);
}

PageAnswer PageApi::postSend(PageRequest const& request)
{
    Json const body = parsed(request);
    JsonFields fields(body, request.path);
    bool const everyone = fields.flag("unsubscribed", false);
    Frame const frame = frameFrom(fields, middleware.state().config);
    fields.end();
    size_t const receivers = everyone ? middleware.sendToAll(frame) : middleware.send(frame);
    return sent(frame, receivers);
}

/// Whatever is wrong with the bytes goes out again as it is.
PageAnswer PageApi::postResend(PageRequest const& request)
{
    Json const body = parsed(request);
    JsonFields fields(body, request.path);
    uint64_t const serial = fields.number("serial", UINT64_MAX);
    fields.end();
    History::Entry const entry = entryOf(serial); // sending adds to the history
    TraceRecord const& record = entry.record;
    if (!entry.callback.is_null() || record.event != TraceRecord::Event::Frame ||
        record.direction != Direction::ToHost) {
        fields.fail("serial", "record " + std::to_string(serial) + " is no frame to a host");
    }
    return sent(record.frame, middleware.send(record.frame));
}

/// @throw InputError
History::Entry const& PageApi::entryOf(uint64_t serial) const
{
    auto const& entries = history.entries();
    if (entries.empty() || serial < entries.front().serial || serial > entries.back().serial) {
        throw InputError("record " + std::to_string(serial) + " is not kept; the latest 10,000 are, up to 32 MiB");
    }
    return entries[serial - entries.front().serial];
}

/// "sent" is cut: it is for people. "waiting" counts the receivers that do not have all of it yet.
PageAnswer PageApi::sent(Frame const& frame, size_t receivers)
{
    tellSoon();
    std::string text = textOf(frame);
    if (text.size() > mostShownText) {
        text.resize(mostShownText);
        text += "...";
    }
    size_t const waiting = std::min(receivers, middleware.waitingClients());
    return jsonAnswer({{"receivers", receivers}, {"waiting", waiting}, {"sent", text}});
}

PageAnswer PageApi::postKey(PageRequest const& request)
{
    Json const body = parsed(request);
    JsonFields fields(body, request.path);
    uint64_t const modifier = fields.number("modifier", 0xFF, 0);
    uint64_t const command =
        fields.has("key") ? commandNamed(fields.text("key"), fields) : fields.number("command", 0xFFFF);
    fields.end();
    Frame const frame = frameOf(IPCMessageUnsignedInt(IPC_REMOTE_KEY, static_cast<uint32_t>(modifier << 16 | command)));
    return sent(frame, middleware.send(frame));
}

PageAnswer PageApi::postConfig(PageRequest const& request)
{
    Json const body = parsed(request);
    JsonFields fields(body, request.path);
    IPCBrowserConfig config = middleware.state().config;
    mergeConfig(fields, config);
    fields.end();
    size_t const receivers = middleware.send({IPC_PAYLOAD_RAW, IPC_BROWSER_CONFIG, payloadOf(config)});
    tellSoon();
    return jsonAnswer({{"receivers", receivers}, {"config", jsonOf(middleware.state().config)}});
}

PageAnswer PageApi::postFault(PageRequest const& request)
{
    Json const body = parsed(request);
    JsonFields fields(body, request.path);
    std::string const what = fields.text("what");
    FaultModeInfo const* const info = findFaultMode(what);
    if (info == nullptr || takesThePageAlong(info->what)) {
        fields.fail("what", "expected a name of /api/faults, found \"" + what + "\"");
    }
    fields.end();
    size_t const receivers = middleware.clients().size();
    middleware.apply(info->what);
    tellSoon();
    return jsonAnswer({{"receivers", receivers}});
}

} // namespace zelobox
