#include "zelobox/protocol/BrowserConfigJson.h"

#include <fstream>

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

/// @return true for a text like "0A:1B:2C:3D:4E:5F"
bool isMacAddress(std::string const& text)
{
    try {
        return bytesOfHex(text).size() == 6;
    } catch (InputError const&) {
        return false;
    }
}

void mergeMacAddress(JsonFields& fields, std::string& address)
{
    std::string const text = fields.text("macAddress", address);
    if (!isMacAddress(text)) {
        fields.fail("macAddress", "expected a text like \"0A:1B:2C:3D:4E:5F\", found \"" + text + "\"");
    }
    address = text;
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

} // namespace zelobox
