#include "zelobox/protocol/BrowserConfigPayload.h"

#include <ctype.h>

#include <algorithm>
#include <iterator>
#include <string>

#include "src/common/ByteWriter.h"

namespace zelobox {

namespace {

void writeAddress(ByteWriter& writer, std::string const& text)
{
    std::string digits;
    std::copy_if(text.begin(), text.end(), std::back_inserter(digits),
                 [](unsigned char c) { return isxdigit(c) != 0; });
    size_t const size = 6;
    digits.resize(2 * size, '0');
    for (size_t i = 0; i < size; ++i) {
        writer.u8(static_cast<uint8_t>(std::stoi(digits.substr(2 * i, 2), nullptr, 16)));
    }
}

void writeCountedText(ByteWriter& writer, std::string const& text)
{
    writer.u16(static_cast<uint16_t>(text.size() + 1));
    writer.raw(text.data(), text.size());
    writer.u8(0);
}

} // namespace

std::vector<char> payloadOf(IPCBrowserConfig const& config)
{
    std::vector<char> payload;
    ByteWriter writer(payload);
    writer.u8(config.forcePortalUrl ? 1 : 0);
    writeAddress(writer, config.macAddress);
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
