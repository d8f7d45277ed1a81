#include <gtest/gtest.h>

#include <regex>

#include "zelobox/capture/Pcapng.h"
#include "zelobox/capture/TraceFile.h"
#include "zelobox/protocol/BrowserConfigJson.h"
#include "zelobox/protocol/FrameJson.h"
#include "zelobox/protocol/FrameReader.h"
#include "zelobox/protocol/MessageTable.h"

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
