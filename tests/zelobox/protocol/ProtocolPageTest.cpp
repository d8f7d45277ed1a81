#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <map>
#include <regex>
#include <set>

#include "cobalt/ZeloCobalt.h"
#include "zelobox/check/Case.h"
#include "zelobox/protocol/BrowserConfigJson.h"
#include "zelobox/protocol/FrameJson.h"
#include "zelobox/protocol/FrameReader.h"
#include "zelobox/protocol/MessageTable.h"
#include "zelobox/protocol/Pcapng.h"
#include "zelobox/protocol/TraceFile.h"

using namespace zelobox;

namespace {

struct Example {
    std::vector<char> bytes;
    Json json;
};

std::string page()
{
    return contentsOf(ZELO_DOCS_DIR "/protocol.md");
}

/// @return the bytes of a block whose lines are hexadecimal digits
std::vector<char> bytesOfBlock(std::string const& text)
{
    return bytesOfHex(std::regex_replace(text, std::regex("\n"), " "));
}

std::vector<Example> examples()
{
    std::string const text = page();
    std::regex const pair("```hex\n([^`]*)```\n```json\n([^`]*)```\n");
    std::vector<Example> found;
    for (std::sregex_iterator each(text.begin(), text.end(), pair), end; each != end; ++each) {
        found.push_back({bytesOfBlock((*each)[1]), Json::parse((*each)[2].str())});
    }
    return found;
}

/// @return the frame that name, kind and fields of an example describe
Frame encoded(Json const& example)
{
    Json description = {{"frame", example["name"]}, {"kind", example["kind"]}};
    description.update(example["fields"]);
    description.erase("inexact");
    JsonFields fields(description, example["name"]);
    return frameFrom(fields, defaultConfig());
}

size_t count(std::string const& text, std::string const& part)
{
    size_t number = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        ++number;
    }
    return number;
}

} // namespace

TEST(ProtocolPage, HasExamplesThatAreDecodedAndEncodedAsItSays)
{
    std::vector<Example> const all = examples();
    EXPECT_EQ(count(page(), "```hex"), all.size()) << "each has its JSON";
    EXPECT_LE(20U, all.size());
    for (Example const& example : all) {
        std::optional<Frame> const frame = frameFromBytes(example.bytes);
        ASSERT_TRUE(frame) << example.json;
        Json const decoded = {{"name", messageName(frame->type)},
                              {"kind", frame->kind},
                              {"type", frame->type},
                              {"fields", fieldsOf(*frame)}};
        EXPECT_EQ(example.json, decoded);
        EXPECT_EQ(hexOf(example.bytes), hexOf(bytesOf(encoded(example.json)))) << example.json;
    }
}

TEST(ProtocolPage, NamesEveryMessageWithItsTypeAndKind)
{
    std::string const text = page();
    size_t const toMiddleware = text.find("\n## Messages to the middleware");
    for (MessageInfo const& info : messageTable()) {
        std::regex const row("\\| " + std::to_string(info.type) + " \\| `" + info.name + "`( \\*)? \\| " +
                             std::to_string(info.kind) + " \\| ");
        std::smatch found;
        ASSERT_TRUE(std::regex_search(text, found, row)) << info.name;
        EXPECT_EQ(info.toHost, static_cast<size_t>(found.position()) < toMiddleware) << info.name;
    }
    EXPECT_EQ(messageTable().size(), count(text, " | `IPC_"));
}

TEST(ProtocolPage, ShowsThePacketOfACapture)
{
    std::string const text = page();
    std::smatch found;
    ASSERT_TRUE(std::regex_search(text, found, std::regex("```packet\n([^`]*)```")));
    std::vector<char> const packet = bytesOfBlock(found[1]);
    TraceRecord record;
    record.connection = 1;
    record.frame = *frameFromBytes(examples().front().bytes);
    std::string const block = pcapngPacket(record);
    size_t const blockHeader = 28;
    EXPECT_EQ(std::string(packet.begin(), packet.end()), block.substr(blockHeader, packet.size()));
    EXPECT_EQ(std::string(1, static_cast<char>(packet.size())), block.substr(blockHeader - 5, 1)) << "nothing follows";
    EXPECT_NE(std::string::npos, text.find("link type " + std::to_string(pcapngLinkType)));
}

namespace {

/// @return the numbers and texts of the list under "What a middleware must do"
std::map<unsigned, std::string> rulesOfPage()
{
    std::string const text = page();
    size_t const begin = text.find("\n## What a middleware must do\n");
    std::string const section = text.substr(begin, text.find("\n## ", begin + 1) - begin);
    std::regex const item("\n([0-9]+)\\. ([^\n]*)");
    std::map<unsigned, std::string> rules;
    for (std::sregex_iterator each(section.begin(), section.end(), item), end; each != end; ++each) {
        rules[static_cast<unsigned>(std::stoul((*each)[1]))] = (*each)[2];
    }
    return rules;
}

/// @return "key-commands" for each heading "Key commands"
std::set<std::string> anchorsOfPage()
{
    std::string const text = page();
    std::set<std::string> anchors;
    std::regex const heading("\n##+ ([^\n]*)");
    for (std::sregex_iterator each(text.begin(), text.end(), heading), end; each != end; ++each) {
        std::string anchor = (*each)[1];
        std::transform(anchor.begin(), anchor.end(), anchor.begin(), [](char character) {
            return character == ' ' ? '-' : static_cast<char>(std::tolower(static_cast<unsigned char>(character)));
        });
        anchors.insert(anchor);
    }
    return anchors;
}

} // namespace

TEST(ProtocolPage, HasTheRulesThatTheCheckCites)
{
    std::map<unsigned, std::string> const rules = rulesOfPage();
    EXPECT_EQ(ruleTable().size(), rules.size());
    std::set<std::string> const anchors = anchorsOfPage();
    unsigned number = 0;
    for (RuleInfo const& info : ruleTable()) {
        EXPECT_EQ(++number, static_cast<unsigned>(info.rule));
        EXPECT_EQ(1U, rules.count(number)) << number;
        EXPECT_EQ(1U, anchors.count(info.anchor)) << info.anchor;
    }
}

TEST(ProtocolPage, HasNoRuleThatTheCheckDoesNotJudge)
{
    std::set<unsigned> judged;
    for (CheckCase const& candidate : checkCases()) {
        for (Rule const rule : candidate.rules) {
            judged.insert(static_cast<unsigned>(rule));
        }
    }
    for (auto const& [number, text] : rulesOfPage()) {
        EXPECT_EQ(1U, judged.count(number)) << number << ": " << text;
    }
}

TEST(ProtocolPage, HasTheKeysOfTheTable)
{
    std::string const text = page();
    std::regex const row("\n\\| ([0-9]+)(?: to ([0-9]+))? \\| [^|]*\\(`([0-9a-f]+)`(?: to `[0-9a-f]+`)?\\) \\|");
    std::map<unsigned, unsigned> keys;
    for (std::sregex_iterator each(text.begin(), text.end(), row), end; each != end; ++each) {
        unsigned const first = static_cast<unsigned>(std::stoul((*each)[1]));
        unsigned const last = (*each)[2].matched ? static_cast<unsigned>(std::stoul((*each)[2])) : first;
        for (unsigned command = first; command <= last; ++command) {
            keys[command] = static_cast<unsigned>(std::stoul((*each)[3], nullptr, 16)) + command - first;
        }
    }
    for (unsigned command = 0; command < 200; ++command) {
        auto const found = keys.find(command);
        unsigned const onPage = found != keys.end() ? found->second : 0;
        EXPECT_EQ(static_cast<unsigned>(KeyCodeToSbKey(static_cast<STBCommand>(command))), onPage) << command;
    }
}
