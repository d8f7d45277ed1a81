#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>

#include "tests/zelobox/Program.h"
#include "zelobox/protocol/FrameJson.h"
#include "zelobox/protocol/MessageTable.h"
#include "zelobox/protocol/TraceFile.h"

using namespace zelobox;
using program::Ended;

namespace {

/// The fields of a packet by their filter names; those that occur several times have several values.
using Fields = std::map<std::string, std::vector<std::string>>;

bool isInstalled(std::string const& name)
{
    std::istringstream path(getenv("PATH"));
    for (std::string directory; std::getline(path, directory, ':');) {
        if (access((directory + "/" + name).c_str(), X_OK) == 0) {
            return true;
        }
    }
    return false;
}

/// A zero byte has a symbol: Wireshark's texts end at one.
std::string shownText(std::string const& text)
{
    std::string shown;
    for (char const character : text) {
        shown += character == 0 ? "\u2400" : std::string(1, character);
    }
    return shown;
}

void addValue(Fields& fields, std::string const& name, Json const& value)
{
    if (value.is_array()) {
        for (Json const& element : value) {
            addValue(fields, name, element);
        }
    } else if (value.is_string()) {
        fields[name].push_back(shownText(value));
    } else {
        fields[name].push_back(value.is_boolean() ? (value.get<bool>() ? "1" : "0") : value.dump());
    }
}

/// @return what tshark shows of a packet, without the nesting
void collect(Json const& layer, Fields& fields)
{
    for (auto const& [name, value] : layer.items()) {
        if (value.is_object()) {
            collect(value, fields);
        } else if (name.rfind("zelo.", 0) == 0 && name != "zelo.inexact.expert") {
            addValue(fields, name, value);
        }
    }
}

std::vector<Fields> dissect(std::string const& file)
{
    program::Program tshark(
        {"tshark", "-X", std::string("lua_script:") + ZELO_DISSECTOR, "-r", file, "-T", "json", "--no-duplicate-keys"});
    Ended const ended = tshark.wait();
    EXPECT_EQ(0, ended.status) << ended.errors;
    EXPECT_EQ(std::string::npos, ended.errors.find("Lua")) << ended.errors;
    std::vector<Fields> packets;
    for (Json const& packet : Json::parse(ended.output)) {
        packets.emplace_back();
        collect(packet["_source"]["layers"]["zelo"], packets.back());
        packets.back()["time"] = {packet["_source"]["layers"]["frame"]["frame.time_epoch"].get<std::string>()};
    }
    return packets;
}

std::string withColons(std::string const& hex)
{
    std::string text;
    for (size_t i = 0; i < hex.size(); i += 2) {
        text += (i == 0 ? "" : ":") + hex.substr(i, 2);
    }
    return text;
}

std::string lower(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::tolower(c); });
    return text;
}

void addPayload(Fields& fields, std::string const& prefix, Json const& payload)
{
    for (auto const& [name, value] : payload.items()) {
        if (name == "inexact") {
            fields["zelo.inexact"] = {"1"};
        } else if (name == "bytes" || name == "record") {
            Json const& bytes = value;
            if (!bytes.get<std::string>().empty()) {
                fields[prefix + name] = {withColons(bytes)};
            }
        } else if (name == "macAddress") {
            fields[prefix + name] = {lower(value)};
        } else if (name == "streams") {
            for (Json const& stream : value) {
                addPayload(fields, prefix + "streams.", stream);
            }
        } else {
            addValue(fields, prefix + name, value);
        }
    }
}

void addFrame(Fields& fields, Json const& record)
{
    std::string const name = record["name"];
    std::string const message = findMessage(name) != nullptr ? lower(name.substr(4)) : "other";
    fields["zelo.sync"] = {"0x6d"};
    fields["zelo.kind"] = {record["kind"].dump()};
    fields["zelo.type"] = {record["type"].dump()};
    fields["zelo.name"] = {name};
    fields["zelo.length"] = {std::to_string(record["hex"].get<std::string>().size() / 2 - 8)};
    addPayload(fields, "zelo." + message + ".", record["fields"]);
}

/// @return what tshark is to show of a record of "decode --to jsonl"
Fields expectedOf(Json const& record)
{
    char time[64];
    snprintf(time, sizeof time, "%.6f000", record["time"].get<double>());
    std::string const event = record.value("event", "frame");
    bool const toMiddleware = record.value("direction", "toHost") == "toMiddleware";
    static std::map<std::string, std::string> const events = {
        {"frame", "0"}, {"connected", "1"}, {"disconnected", "2"}, {"raw", "3"}};
    Fields fields = {{"zelo.version", {"1"}},
                     {"zelo.event", {events.at(event)}},
                     {"zelo.direction", {toMiddleware ? "1" : "0"}},
                     {"zelo.connection", {record["connection"].dump()}},
                     {"time", {time}}};
    if (event == "frame") {
        addFrame(fields, record);
    } else if (event == "raw") {
        fields["zelo.raw"] = {withColons(record["hex"])};
    } else if (event == "disconnected") {
        fields["zelo.reason"] = {record["reason"]};
    }
    return fields;
}

std::string textOf(Fields const& fields)
{
    std::string text;
    for (auto const& [name, values] : fields) {
        text += name + "=" + lineOf(Json(values)) + "\n";
    }
    return text;
}

void expectTheSame(std::string const& packets, size_t atLeast)
{
    std::vector<Fields> const shown = dissect(packets);
    std::istringstream lines(program::run({"decode", packets, "--to", "jsonl"}).output);
    size_t count = 0;
    for (std::string line; std::getline(lines, line); ++count) {
        ASSERT_LT(count, shown.size());
        EXPECT_EQ(textOf(expectedOf(Json::parse(line))), textOf(shown[count])) << line;
    }
    EXPECT_EQ(count, shown.size());
    EXPECT_GE(count, atLeast);
}

/// Frames and other events in a row.
class Trace {
public:
    void addEvent(TraceRecord::Event event, std::string const& reason = "", std::vector<char> const& bytes = {})
    {
        TraceRecord record;
        record.time = 1795219200000000 + static_cast<int64_t>(records.size());
        record.connection = 7;
        record.event = event;
        record.reason = reason;
        record.bytes = bytes;
        records.push_back(record);
    }

    void addFrame(uint8_t kind, uint16_t type, std::vector<char> const& payload)
    {
        addEvent(TraceRecord::Event::Frame);
        MessageInfo const* const info = findMessage(type);
        records.back().direction = info == nullptr || info->toHost ? Direction::ToHost : Direction::ToMiddleware;
        records.back().frame = {kind, type, payload};
    }

    std::vector<TraceRecord> records;
};

/// Whole, cut at every byte, and with a byte more.
void addCuts(Trace& trace, uint8_t kind, uint16_t type, std::string const& hex)
{
    std::vector<char> payload = bytesOfHex(hex);
    payload.push_back(7);
    for (size_t size = 0; size <= payload.size(); ++size) {
        trace.addFrame(kind, type, {payload.begin(), payload.begin() + static_cast<std::ptrdiff_t>(size)});
    }
}

void addVectors(Trace& trace, std::string const& name)
{
    std::ifstream file(ZELO_VECTORS_DIR "/" + name);
    for (Json const& vector : Json::parse(file)) {
        addCuts(trace, vector["kind"], vector["type"], vector["bytes"]);
    }
}

} // namespace

class Wireshark : public testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(isInstalled("tshark")) << "tshark is not installed (Debian package tshark)"; }

    std::string file(std::vector<TraceRecord> const& records) const
    {
        return directory.file("trace.pcapng", pcapngOf(records));
    }

    program::Directory directory;
};

TEST_F(Wireshark, ShowsEveryMessageAndKindAsDecodeDoes)
{
    char const* const payloads[] = {"010203",
                                    "01020304",
                                    "0102030405060708",
                                    "000000020102030405060708",
                                    "00000003 616263 00",
                                    "00000002 00000001 61 00 00000000 00"};
    Trace trace;
    trace.addFrame(0, 99, {});
    for (uint8_t kind = 0; kind < 7; ++kind) {
        addCuts(trace, kind, 99, payloads[kind % 6]);
        for (MessageInfo const& info : messageTable()) {
            addCuts(trace, kind, static_cast<uint16_t>(info.type), payloads[kind % 6]);
        }
    }
    addCuts(trace, 0, IPC_VIDEO_WINDOW, "0001 0002 0280 0168 00");
    addCuts(trace, 0, IPC_ALLOWED_MESSAGE_LIST, "00000008 00000018");
    addCuts(trace, 1, IPC_REMOTE_KEY, "01FF002C");
    expectTheSame(file(trace.records), 1000);
}

TEST_F(Wireshark, ShowsWholeCutAndOverlongPayloadsAsDecodeDoes)
{
    Trace trace;
    for (char const* const name : {"messages.json", "configuration.json", "player.json"}) {
        addVectors(trace, name);
    }
    expectTheSame(file(trace.records), 300);
}

TEST_F(Wireshark, ShowsWhatIsNoFrame)
{
    Trace trace;
    trace.addEvent(TraceRecord::Event::Connected);
    trace.addEvent(TraceRecord::Event::Raw, "", {0, 'm', '\xff'});
    trace.addEvent(TraceRecord::Event::Disconnected, "closed by the client");
    expectTheSame(file(trace.records), 3);
}

TEST_F(Wireshark, ShowsTheDemoAsDecodeDoes)
{
    std::string words;
    for (std::string const& word : program::command({})) {
        words += word + " ";
    }
    std::string const packets = directory.path("demo.pcapng");
    Ended const played = program::run(
        {"demo", "--host-command", ZELOBOX_THROUGH_PROXY " " + packets + " '" + words + "proxy' " + words});
    EXPECT_EQ(0, played.status) << played.errors;
    expectTheSame(packets, 25);
}
