#include "src/ipc/IPCBrowserConfig.h"

#include <stdio.h>

#include "src/common/ByteReader.h"

namespace {

std::string readMacAddress(ByteReader& reader)
{
    uint8_t bytes[6] = {};
    reader.raw(bytes, sizeof bytes);
    char digits[sizeof "00:00:00:00:00:00"];
    snprintf(digits, sizeof digits, "%02X:%02X:%02X:%02X:%02X:%02X", bytes[0], bytes[1], bytes[2], bytes[3], bytes[4],
             bytes[5]);
    return std::string(digits);
}

/// Reads a text whose length counts its terminator. A length of 0 has no room for one and fails the reader.
void readCountedText(ByteReader& reader, std::string& text)
{
    uint16_t const length = reader.u16();
    if (length == 0) {
        reader.fail();
        return;
    }
    reader.text(length - 1U).swap(text);
    reader.skip(1);
}

std::string upToZero(std::string const& text)
{
    char const* const untilZero = text.c_str();
    return std::string(untilZero);
}

} // namespace

bool IPCBrowserConfig::read(std::vector<char> const& payload)
{
    ByteReader reader(payload);
    forcePortalUrl = reader.u8() != 0;
    readMacAddress(reader).swap(macAddress);
    displayWidth = reader.u16();
    displayHeight = reader.u16();
    displayFlag = reader.u8() != 0;
    auxWidth = reader.u16();
    auxHeight = reader.u16();
    readCountedText(reader, apiMode);
    readCountedText(reader, language);
    upToZero(language).swap(language);
    readCountedText(reader, portalUrl);
    readCountedText(reader, auxText1);
    auxValue = reader.u8();
    readCountedText(reader, auxText2);
    return !reader.failed();
}
