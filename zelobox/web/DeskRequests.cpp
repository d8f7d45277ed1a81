#include <set>
#include <sstream>

#include "cobalt/ZeloCobalt.h"
#include "zelobox/capture/TraceFile.h"
#include "zelobox/protocol/BoxConfig.h"
#include "zelobox/protocol/FrameJson.h"
#include "zelobox/protocol/KeyNames.h"
#include "zelobox/protocol/MessageTable.h"
#include "zelobox/web/Desk.h"

namespace zelobox {

namespace {

/// KeyCodeToSbKey() knows no others.
uint32_t const firstCommand = 2;
uint32_t const lastCommand = 76;

/// Whether @p what ends or blocks the thread that the page needs too.
bool takesThePageAlong(Misbehaviour what)
{
    std::set<Misbehaviour> const all = {Misbehaviour::BlockOnWrite, Misbehaviour::DieOnVanish,
                                        Misbehaviour::DieOnGarbage, Misbehaviour::DieOnLie};
    return all.count(what) != 0;
}

DeskAnswer jsonAnswer(Json const& json)
{
    DeskAnswer answer;
    answer.body = lineOf(json) + "\n";
    return answer;
}

/// @throw InputError
Json parsed(DeskRequest const& request)
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

std::vector<Desk::Route> const& Desk::routes()
{
    static std::vector<Route> const table = {
        {"GET", "/api/state", &Desk::getState},
        {"GET", "/api/keys", &Desk::getKeys},
        {"GET", "/api/messages", &Desk::getMessages},
        {"GET", "/api/misbehaviours", &Desk::getMisbehaviours},
        {"GET", "/api/trace", &Desk::getTrace},
        {"POST", "/api/send", &Desk::postSend},
        {"POST", "/api/key", &Desk::postKey},
        {"POST", "/api/config", &Desk::postConfig},
        {"POST", "/api/misbehave", &Desk::postMisbehave},
    };
    return table;
}

DeskAnswer Desk::getState(DeskRequest const&)
{
    return jsonAnswer(state());
}

DeskAnswer Desk::getKeys(DeskRequest const&)
{
    Json keys = Json::array();
    for (uint32_t command = firstCommand; command <= lastCommand; ++command) {
        if (keyOf(command) != 0) {
            keys.push_back({{"command", command}, {"key", keyOf(command)}, {"name", keyName(keyOf(command))}});
        }
    }
    return jsonAnswer(keys);
}

DeskAnswer Desk::getMessages(DeskRequest const&)
{
    Json messages = Json::array();
    for (MessageInfo const& info : messageTable()) {
        messages.push_back({{"name", info.name}, {"type", info.type}, {"toHost", info.toHost}});
    }
    return jsonAnswer(messages);
}

DeskAnswer Desk::getMisbehaviours(DeskRequest const&)
{
    Json list = Json::array();
    for (MisbehaviourInfo const& info : misbehaviourTable()) {
        if (!takesThePageAlong(info.what)) {
            list.push_back({{"name", info.name}, {"lasts", info.lasts}, {"help", info.help}});
        }
    }
    return jsonAnswer(list);
}

DeskAnswer Desk::getTrace(DeskRequest const& request)
{
    auto const found = request.query.find("format");
    std::string const format = found != request.query.end() ? found->second : "jsonl";
    if (format != "jsonl" && format != "pcapng") {
        throw InputError("format: expected jsonl or pcapng, found " + format);
    }
    DeskAnswer answer;
    answer.type = format == "jsonl" ? "application/jsonl" : "application/x-pcapng";
    answer.fileName = "zelobox." + format;
    std::ostringstream file;
    TraceWriter writer(file, format == "jsonl" ? TraceFormat::JsonLines : TraceFormat::Pcapng);
    for (History::Entry const& entry : history.entries()) {
        writer.write(entry.record);
    }
    answer.body = file.str();
    return answer;
}

DeskAnswer Desk::postSend(DeskRequest const& request)
{
    Json const body = parsed(request);
    JsonFields fields(body, request.path);
    bool const everyone = fields.flag("unsubscribed", false);
    Frame const frame = frameFrom(fields, box.state().config);
    fields.end();
    size_t const receivers = everyone ? box.sendToAll(frame) : box.send(frame);
    tellStateSoon();
    return jsonAnswer({{"receivers", receivers}, {"sent", textOf(frame)}});
}

DeskAnswer Desk::postKey(DeskRequest const& request)
{
    Json const body = parsed(request);
    JsonFields fields(body, request.path);
    uint64_t const modifier = fields.number("modifier", 0xFF, 0);
    uint64_t const command =
        fields.has("key") ? commandNamed(fields.text("key"), fields) : fields.number("command", 0xFFFF);
    fields.end();
    Frame const frame = frameOf(IPCMessageUnsignedInt(IPC_REMOTE_KEY, static_cast<uint32_t>(modifier << 16 | command)));
    return jsonAnswer({{"receivers", box.send(frame)}, {"sent", textOf(frame)}});
}

DeskAnswer Desk::postConfig(DeskRequest const& request)
{
    Json const body = parsed(request);
    JsonFields fields(body, request.path);
    IPCBrowserConfig config = box.state().config;
    mergeConfig(fields, config);
    fields.end();
    size_t const receivers = box.send({IPC_PAYLOAD_RAW, IPC_BROWSER_CONFIG, payloadOf(config)});
    tellStateSoon();
    return jsonAnswer({{"receivers", receivers}, {"config", jsonOf(box.state().config)}});
}

DeskAnswer Desk::postMisbehave(DeskRequest const& request)
{
    Json const body = parsed(request);
    JsonFields fields(body, request.path);
    std::string const what = fields.text("what");
    MisbehaviourInfo const* const info = findMisbehaviour(what);
    if (info == nullptr || takesThePageAlong(info->what)) {
        fields.fail("what", "expected a name of /api/misbehaviours, found \"" + what + "\"");
    }
    fields.end();
    size_t const receivers = box.clients().size();
    box.misbehave(info->what);
    tellStateSoon();
    return jsonAnswer({{"receivers", receivers}});
}

} // namespace zelobox
