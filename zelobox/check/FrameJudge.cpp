#include "zelobox/check/FrameJudge.h"

#include "zelobox/base/Printable.h"
#include "zelobox/check/PayloadReader.h"
#include "zelobox/check/Plausible.h"
#include "zelobox/check/TextForms.h"
#include "zelobox/protocol/MessageTable.h"

namespace zelobox {

namespace {

using Text = PayloadReader::Text;

void judgeFlag(PayloadReader& reader, std::string const& field)
{
    size_t const at = reader.offset();
    uint64_t const value = reader.number(field, 1);
    if (value > 1) {
        reader.note(Rule::NothingUnread, true, field, at, std::to_string(value), "0 or 1");
    }
}

void judgeSize(PayloadReader& reader, std::string const& prefix)
{
    size_t const at = reader.offset();
    auto const width = static_cast<uint16_t>(reader.number(prefix + "Width", 2));
    auto const height = static_cast<uint16_t>(reader.number(prefix + "Height", 2));
    std::string const problem = implausibleSize(width, height);
    if (!reader.failed() && !problem.empty()) {
        reader.note(Rule::PlausibleSizes, true, prefix + "Width and " + prefix + "Height", at,
                    std::to_string(width) + " x " + std::to_string(height), problem, sizeHint(width, height));
    }
}

void judgeCharacters(PayloadReader& reader, std::string const& field, Text const& text)
{
    if (reader.failed()) {
        return;
    }
    size_t const zero = text.bytes.find('\0');
    if (zero != std::string::npos) {
        reader.note(Rule::NothingUnread, true, field, text.offset + zero, "a byte 00 within the text",
                    "one behind it only");
    }
    if (!isUtf8(text.bytes)) {
        reader.note(Rule::Utf8, true, field, text.offset, "bytes " + hexOf({text.bytes.begin(), text.bytes.end()}),
                    "UTF-8");
    }
}

Text judgeCountedText(PayloadReader& reader, std::string const& field)
{
    Text text = reader.countedText(field);
    judgeCharacters(reader, field, text);
    return text;
}

Text judgeText(PayloadReader& reader, std::string const& field)
{
    Text text = reader.text(field);
    judgeCharacters(reader, field, text);
    return text;
}

void judgeConfig(PayloadReader& reader, std::vector<char> const& payload)
{
    judgeFlag(reader, "forcePortalUrl");
    reader.skip("macAddress", 6);
    judgeSize(reader, "display");
    judgeFlag(reader, "displayFlag");
    judgeSize(reader, "aux");
    judgeCountedText(reader, "apiMode");
    Text const language = judgeCountedText(reader, "language");
    if (!reader.failed() && !isLanguageTag(language.bytes)) {
        reader.note(Rule::LanguageTag, true, "language", language.offset, "\"" + printable(language.bytes) + "\"",
                    "a language tag such as \"en\" or \"en-GB\"");
    }
    judgeCountedText(reader, "portalUrl");
    judgeCountedText(reader, "auxText1");
    reader.number("auxValue", 1);
    judgeCountedText(reader, "auxText2");
    reader.end();
    for (Finding& finding : reader.findings()) {
        if (!finding.isWarning) {
            finding.hint = guessTextForm(payload);
            break; // once is enough
        }
    }
}

void judgeNumber(PayloadReader& reader, uint16_t type)
{
    auto const value = static_cast<uint32_t>(reader.number("value", 4));
    reader.end();
    if (reader.failed()) {
        return;
    }
    if (type == IPC_VOLUME && value > loudest) {
        reader.note(Rule::PlausibleVolume, true, "value", 0, std::to_string(value), "0 to 100", volumeHint(value));
    } else if (type == IPC_REMOTE_KEY) {
        std::string const problem = implausibleKey(value);
        if (!problem.empty()) {
            reader.note(Rule::CommandsWithKeys, true, "value", 0, problem, "a command of the table", keyHint(value));
        }
    }
}

void judgeLifeCycle(PayloadReader& reader)
{
    Text const text = judgeText(reader, "text");
    reader.end();
    std::string const meant = lifeCycleTextMeant(text.bytes);
    if (!reader.failed() && meant != text.bytes) {
        reader.note(Rule::LifeCycleTexts, true, "text", text.offset,
                    "\"" + printable(text.bytes) + "\", which nobody acts on",
                    meant.empty() ? "\"onpause\" or \"onresume\"" : "\"" + meant + "\"");
    }
}

void judgeMediaInfo(PayloadReader& reader)
{
    judgeText(reader, "name");
    judgeFlag(reader, "flag");
    reader.number("value64", 8);
    uint64_t const streams = reader.number("number of streams", 2);
    for (uint64_t i = 0; i < streams && !reader.failed(); ++i) {
        std::string const stream = "streams[" + std::to_string(i) + "].";
        for (char const* const number : {"number1", "number2", "number3"}) {
            reader.number(stream + number, 4);
        }
        judgeText(reader, stream + "text1");
        judgeText(reader, stream + "text2");
    }
    reader.end();
}

/// Of another size it counts as nothing.
void judgeBlock(PayloadReader& reader, size_t actual, std::string const& field, size_t size)
{
    if (actual != size) {
        reader.note(Rule::WholePayload, false, field, 0, countText(actual), "exactly " + countText(size));
    }
}

void judgePayload(PayloadReader& reader, Frame const& frame)
{
    switch (frame.type) {
    case IPC_BROWSER_CONFIG:
        return judgeConfig(reader, frame.payload);
    case IPC_REMOTE_KEY:
    case IPC_VOLUME:
    case IPC_MUTE:
        return judgeNumber(reader, frame.type);
    case IPC_APP_LIFECYCLE:
        return judgeLifeCycle(reader);
    case IPC_RECORDER_STATS:
        return judgeBlock(reader, frame.payload.size(), "value", 1);
    case IPC_PLAYER_PLAYBACK_INFO:
        return judgeBlock(reader, frame.payload.size(), "record", 30);
    case IPC_PLAYER_MEDIA_INFO:
        return judgeMediaInfo(reader);
    default:
        return; // what the others hold is not known
    }
}

bool isKindKnown(uint16_t type)
{
    switch (type) {
    case IPC_UNHANDLED_8:
    case IPC_UNHANDLED_25:
    case IPC_UNHANDLED_27:
    case IPC_UNHANDLED_36:
    case IPC_UNHANDLED_42:
        return false;
    default:
        return true;
    }
}

} // namespace

Findings judgeFrame(Frame const& frame)
{
    MessageInfo const* const info = findMessage(frame.type);
    if (info == nullptr || !info->toHost || !isKindKnown(frame.type)) {
        return {};
    }
    PayloadReader reader(info->name, frame.payload);
    if (frame.kind != info->kind) {
        // What a field of another kind says would be a second complaint about the same mistake.
        Finding finding;
        finding.rule = Rule::KindOfTheType;
        finding.message = info->name;
        finding.found = "payload kind " + std::to_string(frame.kind);
        finding.expected = std::to_string(info->kind);
        reader.findings().push_back(finding);
        if (frame.type != IPC_BROWSER_CONFIG) {
            return reader.findings();
        }
    }
    judgePayload(reader, frame);
    return reader.findings();
}

} // namespace zelobox
