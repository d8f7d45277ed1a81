#include "zelobox/protocol/BrowserConfigJson.h"

#include <fstream>

#include "src/common/ByteWriter.h"

namespace zelobox {

namespace {

/// The length of a text counts its terminator and has 16 bits.
size_t const longestText = 0xFFFE;

void mergeText(JsonFields& fields, char const* name, std::string& text)
{
    text = fields.text(name, text);
    if (text.size() > longestText) {
        fields.fail(name, "is longer than " + std::to_string(longestText) + " bytes");
    }
}

/// @return the six bytes of "0A:1B:2C:3D:4E:5F". @throw InputError
std::vector<char> addressBytes(std::string const& text)
{
    std::vector<char> bytes = bytesOfHex(text);
    if (bytes.size() != 6) {
        throw InputError("\"" + text + "\" has not six bytes");
    }
    return bytes;
}

void mergeMacAddress(JsonFields& fields, std::string& address)
{
    std::string const text = fields.text("macAddress", address);
    try {
        addressBytes(text);
    } catch (InputError const&) {
        fields.fail("macAddress", "expected a text like \"0A:1B:2C:3D:4E:5F\", found \"" + text + "\"");
    }
    address = text;
}

void writeCountedText(ByteWriter& writer, std::string const& text)
{
    writer.u16(static_cast<uint16_t>(text.size() + 1));
    writer.raw(text.data(), text.size());
    writer.u8(0);
}

} // namespace

IPCBrowserConfig defaultConfig()
{
    IPCBrowserConfig config;
    config.macAddress = "02:00:5E:10:20:30";
    config.displayWidth = 1920;
    config.displayHeight = 1080;
    config.apiMode = "tv";
    config.language = "en";
    config.portalUrl = "http://portal.example/";
    config.auxValue = 1;
    return config;
}

void mergeConfig(JsonFields& fields, IPCBrowserConfig& config)
{
    config.forcePortalUrl = fields.flag("forcePortalUrl", config.forcePortalUrl);
    mergeMacAddress(fields, config.macAddress);
    fields.readNumber("displayWidth", config.displayWidth);
    fields.readNumber("displayHeight", config.displayHeight);
    config.displayFlag = fields.flag("displayFlag", config.displayFlag);
    fields.readNumber("auxWidth", config.auxWidth);
    fields.readNumber("auxHeight", config.auxHeight);
    mergeText(fields, "apiMode", config.apiMode);
    mergeText(fields, "language", config.language);
    mergeText(fields, "portalUrl", config.portalUrl);
    mergeText(fields, "auxText1", config.auxText1);
    fields.readNumber("auxValue", config.auxValue);
    mergeText(fields, "auxText2", config.auxText2);
}

IPCBrowserConfig loadConfig(std::string const& path)
{
    std::ifstream file(path);
    if (!file) {
        throw InputError(path + ": cannot be read; give the path of a JSON file");
    }
    Json json;
    try {
        json = Json::parse(file);
    } catch (Json::parse_error const& error) {
        throw InputError(path + ": " + error.what());
    }
    IPCBrowserConfig config = defaultConfig();
    JsonFields fields(json, path);
    mergeConfig(fields, config);
    fields.end();
    return config;
}

Json jsonOf(IPCBrowserConfig const& config)
{
    return {{"forcePortalUrl", config.forcePortalUrl},
            {"macAddress", config.macAddress},
            {"displayWidth", config.displayWidth},
            {"displayHeight", config.displayHeight},
            {"displayFlag", config.displayFlag},
            {"auxWidth", config.auxWidth},
            {"auxHeight", config.auxHeight},
            {"apiMode", config.apiMode},
            {"language", config.language},
            {"portalUrl", config.portalUrl},
            {"auxText1", config.auxText1},
            {"auxValue", config.auxValue},
            {"auxText2", config.auxText2}};
}

std::vector<char> payloadOf(IPCBrowserConfig const& config)
{
    std::vector<char> payload;
    ByteWriter writer(payload);
    writer.u8(config.forcePortalUrl ? 1 : 0);
    std::vector<char> const address = addressBytes(config.macAddress);
    writer.raw(address.data(), address.size());
    writer.u16(config.displayWidth);
    writer.u16(config.displayHeight);
    writer.u8(config.displayFlag ? 1 : 0);
    writer.u16(config.auxWidth);
    writer.u16(config.auxHeight);
    writeCountedText(writer, config.apiMode);
    writeCountedText(writer, config.language);
    writeCountedText(writer, config.portalUrl);
    writeCountedText(writer, config.auxText1);
    writer.u8(config.auxValue);
    writeCountedText(writer, config.auxText2);
    return payload;
}

} // namespace zelobox
