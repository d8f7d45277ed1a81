#include "testkit/Vectors.h"

#include <gtest/gtest.h>
#include <string.h>

#include <fstream>
#include <functional>
#include <stdexcept>
#include <typeinfo>

#include "cobalt/CobaltManager.h"
#include "testkit/Allocations.h"
#include "testkit/Bytes.h"
#include "testkit/HostStandIn.h"

NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(IPCJSPlayerMediaInfo::Stream, number1, number2, number3, text1, text2)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(IPCJSPlayerMediaInfo, name, flag, value64, streams)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(CobaltManager::Config, macAddress, displayWidth, displayHeight, displayFlag,
                                   auxWidth, auxHeight, apiMode, language, portalUrl, auxText1, auxValue, auxText2)

static void to_json(vectors::Json& json, IPCMessagePlayerPlaybackInfo::Record const& record)
{
    std::vector<char> raw(sizeof record);
    memcpy(raw.data(), &record, raw.size());
    json = bytes::toHex(raw);
}

static void from_json(vectors::Json const& json, IPCMessagePlayerPlaybackInfo::Record& record)
{
    std::vector<char> const raw = bytes::fromHex(json);
    if (raw.size() != sizeof record) {
        throw std::invalid_argument("not a playback record: " + json.dump());
    }
    memcpy(static_cast<void*>(&record), raw.data(), raw.size());
}

namespace vectors {

namespace {

// What a byte of payload can justify: a text of a list takes 5 bytes and, while its list grows, three objects. The rest
// is for the message itself, an exception or a line of the log.
size_t const memoryPerByte = 24;
size_t const memoryInAnyCase = 4096;

size_t limitFor(std::vector<char> const& payload)
{
    return payload.size() * memoryPerByte + memoryInAnyCase;
}

using Message = std::unique_ptr<IPCMessage>;

struct Codec {
    std::string name;
    std::type_info const& type;
    std::function<Json(IPCMessage const&)> fields;
    std::function<Message(Json const& vector)> make;
};

IPCMessageType typeOf(Json const& vector)
{
    return static_cast<IPCMessageType>(vector["type"].get<uint16_t>());
}

template <typename T> T* make(Json const& vector)
{
    return new T(typeOf(vector));
}

template <typename T> T* makeOfFixedType(Json const&)
{
    return new T;
}

/// For a class with one member, which its cases call @p key.
template <typename T, typename Member>
Codec codecOf(std::string const& name, std::string const& key, Member T::*member, T* (*construct)(Json const& vector))
{
    auto const fields = [=](IPCMessage const& message) { return Json{{key, dynamic_cast<T const&>(message).*member}}; };
    auto const filled = [=](Json const& vector) {
        std::unique_ptr<T> message(construct(vector));
        (*message).*member = vector["fields"][key].get<Member>();
        return Message(std::move(message));
    };
    return {name, typeid(T), fields, filled};
}

Codec codecOfRaw()
{
    auto const fields = [](IPCMessage const& message) { return Json{{"payload", bytes::toHex(message.payload)}}; };
    auto const filled = [](Json const& vector) {
        Message message(new IPCMessage(vector["kind"], typeOf(vector)));
        message->payload = bytes::fromHex(vector["fields"]["payload"]);
        return message;
    };
    return {"IPCMessage", typeid(IPCMessage), fields, filled};
}

Codec codecOfAllowedList()
{
    using T = IPCMessageAllowedMessageList;
    return codecOf<T>("IPCMessageAllowedMessageList", "types", &T::types,
                      [](Json const&) { return new T(std::set<IPCMessageType>()); });
}

std::vector<Codec> const& codecs()
{
    using Number = IPCMessageUnsignedInt;
    using Number64 = IPCMessageUnsignedInt64;
    using Numbers = IPCMessageUnsignedIntArray;
    using Text = IPCMessageSimpleString;
    using Texts = IPCMessageStringArray;
    using Recorder = IPCMessageRecorderStats;
    using Playback = IPCMessagePlayerPlaybackInfo;
    using Media = IPCMessagePlayerMediaInfo;
    static std::vector<Codec> const table = {
        codecOfRaw(),
        codecOfAllowedList(),
        codecOf("IPCMessageUnsignedInt", "value", &Number::value, make<Number>),
        codecOf("IPCMessageUnsignedInt64", "value", &Number64::value, make<Number64>),
        codecOf("IPCMessageUnsignedIntArray", "values", &Numbers::values, make<Numbers>),
        codecOf("IPCMessageSimpleString", "text", &Text::text, make<Text>),
        codecOf("IPCMessageStringArray", "strings", &Texts::strings, make<Texts>),
        codecOf("IPCMessageRecorderStats", "value", &Recorder::value, makeOfFixedType<Recorder>),
        codecOf("IPCMessagePlayerPlaybackInfo", "record", &Playback::record, makeOfFixedType<Playback>),
        codecOf("IPCMessagePlayerMediaInfo", "info", &Media::info, makeOfFixedType<Media>),
    };
    return table;
}

template <typename Predicate> Codec const& codecWhich(Predicate predicate)
{
    for (Codec const& codec : codecs()) {
        if (predicate(codec)) {
            return codec;
        }
    }
    throw std::out_of_range("no such message class");
}

Codec const& codecOf(IPCMessage const& message)
{
    return codecWhich([&](Codec const& codec) { return codec.type == typeid(message); });
}

void expectReceived(Json const& vector, std::vector<char> const& payload, IPCMessage const& message)
{
    EXPECT_EQ(vector["class"], codecOf(message).name);
    EXPECT_EQ(vector["kind"], message.payloadKind);
    EXPECT_EQ(vector["kind"], message.headerKind);
    EXPECT_EQ(vector["type"], static_cast<uint32_t>(message.type));
    EXPECT_EQ(vector["type"], message.headerType);
    EXPECT_SAME_BYTES(payload, message.payload);
}

Json decodeMessage(Json const& vector, std::vector<char> const& payload)
{
    uint8_t const kind = vector["kind"];
    uint16_t const type = vector["type"];
    std::vector<char> copy(payload);
    Message message;
    std::string failure;
    bool exceeded;
    {
        allocations::Budget const budget(limitFor(payload));
        try {
            message.reset(makeReceivedMessage(kind, type, std::move(copy)).release());
        } catch (std::exception const& error) {
            failure = error.what();
        }
        exceeded = budget.exceeded();
    }
    EXPECT_FALSE(exceeded) << "more memory than " << payload.size() << " bytes of payload justify";
    if (!message) {
        return failure;
    }
    expectReceived(vector, payload, *message);
    return codecOf(*message).fields(*message);
}

/// @return the record, or the text in the log
Json decodeConfiguration(std::vector<char> const& payload)
{
    standin::clearLog();
    CobaltManager::Config config;
    bool parsed;
    bool exceeded;
    {
        allocations::Budget const budget(limitFor(payload));
        parsed = config.parse(payload);
        exceeded = budget.exceeded();
    }
    EXPECT_TRUE(parsed);
    EXPECT_FALSE(exceeded) << "more memory than " << payload.size() << " bytes of payload justify";
    std::vector<standin::LogLine> const failures = standin::logLines("failed");
    if (failures.empty()) {
        return config;
    }
    EXPECT_EQ(Json(CobaltManager::Config()), Json(config)) << "a configuration that failed has changed the record";
    CobaltManager::Config filled;
    filled.apiMode = filled.language = filled.portalUrl = filled.auxText1 = filled.auxText2 = "before";
    CobaltManager::Config const before = filled;
    filled.parse(payload);
    EXPECT_EQ(Json(before), Json(filled)) << "a configuration that failed has changed a record with texts";
    return failures.front().message;
}

} // namespace

char const configurationClass[] = "CobaltManager::Config";

std::vector<Json> all()
{
    std::vector<Json> cases;
    for (char const* const file : {"messages.json", "player.json", "configuration.json"}) {
        std::ifstream stream(std::string(ZELO_VECTORS_DIR "/") + file);
        for (Json& vector : Json::parse(stream)) {
            cases.push_back(std::move(vector));
        }
    }
    return cases;
}

std::vector<char> bytesOf(Json const& vector)
{
    return bytes::fromHex(vector["bytes"]);
}

std::unique_ptr<IPCMessage> messageOf(Json const& vector)
{
    return codecWhich([&](Codec const& codec) { return codec.name == vector["class"]; }).make(vector);
}

Json decode(Json const& vector, std::vector<char> const& payload)
{
    return vector["class"] == configurationClass ? decodeConfiguration(payload) : decodeMessage(vector, payload);
}

} // namespace vectors
