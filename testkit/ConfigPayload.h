/// @file
/// Payloads of configuration messages, field by field.
#ifndef ZELO_TESTKIT_CONFIGPAYLOAD_H
#define ZELO_TESTKIT_CONFIGPAYLOAD_H

#include <stdint.h>

#include <array>
#include <string>
#include <vector>

/// As it stands, the smallest configuration: five empty texts.
struct ConfigPayload {
    uint8_t force = 0; ///< this byte, though the encoder knows only 0 and 1
    std::array<uint8_t, 6> address = {0x0A, 0x1B, 0x2C, 0x3D, 0x4E, 0x5F};
    uint16_t displayWidth = 0x0780;
    uint16_t displayHeight = 0x0438;
    uint8_t displayFlag = 0; ///< likewise
    uint16_t auxWidth = 0;
    uint16_t auxHeight = 0;
    std::string apiMode;
    std::string language;
    std::string portalUrl;
    std::string auxText1;
    uint8_t auxValue = 1;
    std::string auxText2;

    std::vector<char> bytes() const;
};

/// @return a configuration with this text in every place
ConfigPayload configOfText(std::string const& text);

#endif
