#include "src/ipc/IPCBrowserConfig.h"

#include <stdio.h>

#include "src/common/ByteReader.h"

namespace {

std::string readMacAddress(ByteReader& reader)
{
    std::string address;
    for (int i = 0; i < 6; ++i) {
        char digits[4];
        snprintf(digits, sizeof digits, i == 0 ? "%02X" : ":%02X", reader.u8());
        address += digits;
    }
    return address;
}

/// Reads a text whose length counts its terminator. A length of 0 has no room for one and fails the reader.
std::string readCountedText(ByteReader& reader)
{
    uint16_t const length = reader.u16();
    if (length == 0) {
        reader.fail();
        return std::string();
    }
    std::string text = reader.text(length - 1U);
    reader.skip(1);
    return text;
}

std::string upToZero(std::string const& text)
{
    return text.substr(0, text.find('\0'));
}

} // namespace

bool IPCBrowserConfig::read(std::vector<char> const& payload)
{
    ByteReader reader(payload);
    forcePortalUrl = reader.u8() != 0;
    macAddress = readMacAddress(reader);
    displayWidth = reader.u16();
    displayHeight = reader.u16();
    displayFlag = reader.u8() != 0;
    auxWidth = reader.u16();
    auxHeight = reader.u16();
    apiMode = readCountedText(reader);
    language = upToZero(readCountedText(reader));
    portalUrl = readCountedText(reader);
    auxText1 = readCountedText(reader);
    auxValue = reader.u8();
    auxText2 = readCountedText(reader);
    return !reader.failed();
}
