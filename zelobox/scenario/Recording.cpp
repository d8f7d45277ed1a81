#include "zelobox/scenario/Recording.h"

#include <algorithm>
#include <utility>

#include "zelobox/protocol/BrowserConfigJson.h"
#include "zelobox/protocol/KeyNames.h"
#include "zelobox/protocol/MessageTable.h"
#include "zelobox/protocol/PayloadValues.h"

namespace zelobox {

namespace {

using Event = TraceRecord::Event;

int64_t const usualMs = 5000; // that an expect waits unless told otherwise
int64_t const longestLimitMs = int64_t{3600} * 1000;

/// What the sample host reports for a reason that no trace holds, and what only its calls cause.
char const ignored[] = R"({"ignore":{"frame":"IPC_VIDEO_WINDOW"}}
{"ignore":{"frame":"IPC_VIDEO_WINDOW_MODE"}}
{"ignore":{"frame":"IPC_PREVIOUS_CONTROLLER"}}
{"ignore":{"callback":"volumeChanged"}}
{"ignore":{"result":"start"}}
{"ignore":{"result":"stop"}}
)";

bool isOfHost(uint16_t type)
{
    return type == IPC_VIDEO_WINDOW || type == IPC_VIDEO_WINDOW_MODE || type == IPC_PREVIOUS_CONTROLLER;
}

/// @return the fields of @p all that differ from those of @p base
Json changedFields(Json const& all, Json const& base)
{
    Json changed = Json::object();
    for (auto const& field : all.items()) {
        if (field.value() != base[field.key()]) {
            changed[field.key()] = field.value();
        }
    }
    return changed;
}

/// @return how a send names the frame: by its fields if they say all
Json sendable(TraceRecord const& record)
{
    MessageInfo const* const info = findMessage(record.frame.type);
    Json const& fields = record.fields();
    bool const isUsual = info != nullptr && record.frame.kind == info->kind && !fields.contains("inexact");
    if (!isUsual) {
        Json frame = {
            {"frame", record.frame.type}, {"kind", record.frame.kind}, {"bytes", hexOf(record.frame.payload)}};
        if (info != nullptr) {
            frame["frame"] = info->name;
        }
        return frame;
    }
    Json frame = {{"frame", info->name}};
    frame.update(fields);
    return frame;
}

} // namespace

void Recording::take(TraceRecord const& record)
{
    if (!own) {
        undecided.push_back(record);
        if (record.event == Event::Frame && record.frame.type == IPC_CONFIG_REQUEST) {
            own = record.connection;
            for (TraceRecord const& each : std::exchange(undecided, {})) {
                takeDecided(each);
            }
        }
        return;
    }
    takeDecided(record);
}

void Recording::takeDecided(TraceRecord const& record)
{
    if (record.event == Event::Connected && record.connection != *own && others.count(*own) != 0) {
        own = record.connection; // the client is back
        others.clear();
    }
    if (record.connection != *own) {
        return;
    }
    gapMs = last == 0 ? 0 : std::max<int64_t>(0, (record.time - last) / 1000);
    last = record.time;
    ++taken;
    switch (record.event) {
    case Event::Connected:
        return connected(record);
    case Event::Disconnected:
        return disconnected(record);
    case Event::Raw:
        return comment(std::string(record.direction == Direction::ToHost ? "the middleware" : "the library") +
                       " sent bytes that are no frame: " + hexOf(record.bytes));
    case Event::Frame:
        return record.direction == Direction::ToHost ? toLibrary(record) : fromLibrary(record);
    }
}

void Recording::connected(TraceRecord const&)
{
    if (!isStarted) {
        step({{"call", "start"}});
        isStarted = true;
    }
    subscribed.clear();
    awaited({{"connection", "connected"}});
}

void Recording::disconnected(TraceRecord const& record)
{
    others.insert(*own); // whoever connects next is the client again
    if (record.reason.rfind("closed by the client", 0) == 0) {
        step({{"call", "stop"}});
        isStarted = false;
    } else {
        step({{"fault", "drop"}});
    }
    awaited({{"connection", "disconnected"}});
}

void Recording::fromLibrary(TraceRecord const& record)
{
    MessageInfo const* const info = findMessage(record.frame.type);
    if (record.frame.type == IPC_ALLOWED_MESSAGE_LIST) {
        std::vector<uint32_t> const types = typesIn(record.frame);
        subscribed = {types.begin(), types.end()};
    }
    if (info == nullptr || isOfHost(record.frame.type)) {
        return comment("the library sent " + textOf(record));
    }
    Json sight = {{"frame", info->name}};
    sight.update(record.fields());
    awaited(sight);
}

void Recording::toLibrary(TraceRecord const& record)
{
    Json frame = sendable(record);
    if (record.frame.type == IPC_BROWSER_CONFIG && !frame.contains("bytes")) {
        configured(record.frame);
        return;
    }
    Json send = {{"send", frame}};
    bool const isSubscribed = subscribed.count(record.frame.type) != 0;
    if (!isSubscribed) {
        send["unsubscribed"] = true;
    }
    step(send);
    if (isSubscribed) {
        expectEffect(record.frame);
    }
}

void Recording::configured(Frame const& frame)
{
    IPCBrowserConfig received;
    if (!received.read(frame.payload)) {
        return comment("a configuration that cannot be read");
    }
    if (!config) {
        config = current = received;
    }
    Json send = {{"frame", "IPC_BROWSER_CONFIG"}};
    send.update(changedFields(jsonOf(received), jsonOf(current)));
    current = received;
    step({{"send", send}});
}

/// What the sample host reports for certain.
void Recording::expectEffect(Frame const& frame)
{
    uint32_t const number = numberIn(frame);
    if (frame.type == IPC_REMOTE_KEY) {
        awaited({{"callback", "key"}, {"name", keyNameOf(number & 0xFFFF)}, {"modifier", number >> 16 & 0xFF}});
    } else if (frame.type == IPC_APP_LIFECYCLE && textIn(frame) == "onpause") {
        awaited({{"callback", "pause"}});
    } else if (frame.type == IPC_APP_LIFECYCLE && textIn(frame) == "onresume") {
        awaited({{"callback", "resume"}});
    }
}

void Recording::step(Json const& body)
{
    steps += lineOf(body) + "\n";
}

void Recording::comment(std::string const& text)
{
    steps += "# " + text + "\n";
}

void Recording::awaited(Json const& sight)
{
    Json body = {{"expect", sight}};
    int64_t const within = std::min(longestLimitMs, gapMs + usualMs);
    if (gapMs > usualMs / 2) {
        body["within"] = within;
    }
    limitMs += gapMs > usualMs / 2 ? within : 0;
    step(body);
}

std::string Recording::text(std::string const& name, std::string const& source) const
{
    Json head = {{"scenario", name}, {"about", "Recorded: " + source}, {"answering", false}};
    head["limit"] = std::min(longestLimitMs, 60000 + limitMs);
    Json const changed = config ? changedFields(jsonOf(*config), jsonOf(defaultConfig())) : Json();
    if (!changed.empty()) {
        head["config"] = changed;
    }
    std::string const end = isStarted ? "{\"call\":\"stop\"}\n{\"expect\":{\"connection\":\"disconnected\"}}\n" : "";
    return lineOf(head) + "\n\n# What only the host causes, and what no trace holds.\n" + ignored + "\n" + steps + end;
}

} // namespace zelobox
