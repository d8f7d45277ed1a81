// The configuration that the middleware sends, and how it changes the record.
#include <stdio.h>

#include "cobalt/CobaltManager.h"
#include "src/common/ByteReader.h"
#include "src/common/Log.h"
#include "src/common/Relaxed.h"

namespace {

char const sourceFile[] = "cobalt/CobaltManager";

/// A whole configuration message.
struct Received {
    bool forcePortalUrl;
    std::string macAddress;
    uint32_t displayWidth;
    uint32_t displayHeight;
    bool displayFlag;
    uint32_t auxWidth;
    uint32_t auxHeight;
    std::string apiMode;
    std::string language;
    std::string portalUrl;
    std::string auxText1;
    uint32_t auxValue;
    std::string auxText2;
};

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
    std::string const text = reader.text(length - 1U);
    reader.skip(1);
    return text;
}

/// @return false if the payload is not all there
bool read(ByteReader& reader, Received& received)
{
    received.forcePortalUrl = reader.u8() != 0;
    received.macAddress = readMacAddress(reader);
    received.displayWidth = reader.u16();
    received.displayHeight = reader.u16();
    received.displayFlag = reader.u8() != 0;
    received.auxWidth = reader.u16();
    received.auxHeight = reader.u16();
    received.apiMode = readCountedText(reader);
    received.language = readCountedText(reader).c_str(); // ends at its first zero byte
    received.portalUrl = readCountedText(reader);
    received.auxText1 = readCountedText(reader);
    received.auxValue = reader.u8();
    received.auxText2 = readCountedText(reader);
    return !reader.failed();
}

/// Stores @p next if it differs. Nothing is allocated.
///
/// @return whether it differed
bool replace(std::string& text, std::string& next)
{
    if (text == next) {
        return false;
    }
    text.swap(next);
    return true;
}

} // namespace

bool CobaltManager::Config::parse(std::vector<char> const& payload)
{
    ByteReader reader(payload);
    Received received;
    if (!read(reader, received)) {
        ZELO_LOG(LogBadData, 123, sourceFile, "Browser config data failed");
        return true;
    }
    // Copies for the log, which is written without the lock, when the record may have changed once more.
    std::string const newApiMode = received.apiMode;
    std::string const newPortalUrl = received.portalUrl;
    bool apiModeChanged;
    bool portalUrlStored;
    {
        pthread_helper::guard lock(configMutex);
        if (macAddress.empty()) {
            macAddress.swap(received.macAddress);
        }
        if (displayWidth == 0 && displayHeight == 0) {
            storeRelaxed(displayWidth, received.displayWidth);
            storeRelaxed(displayHeight, received.displayHeight);
            displayFlag = received.displayFlag;
        }
        if (auxWidth == 0 && auxHeight == 0) {
            auxWidth = received.auxWidth;
            auxHeight = received.auxHeight;
        }
        apiModeChanged = replace(apiMode, received.apiMode);
        replace(language, received.language);
        replace(auxText1, received.auxText1);
        auxValue = received.auxValue;
        replace(auxText2, received.auxText2);
        portalUrlStored = replace(portalUrl, received.portalUrl) || received.forcePortalUrl;
    }
    if (apiModeChanged) {
        ZELO_LOG(LogNotable, 92, sourceFile, "New API mode: %s", newApiMode.c_str());
    }
    if (portalUrlStored) {
        ZELO_LOG(LogNotable, 119, sourceFile, "New portal url: %s", newPortalUrl.c_str());
    }
    return true;
}
