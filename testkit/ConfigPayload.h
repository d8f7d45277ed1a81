/// @file
/// Payloads of configuration messages, field by field.
#ifndef ZELO_TESTKIT_CONFIGPAYLOAD_H
#define ZELO_TESTKIT_CONFIGPAYLOAD_H

#include <stdint.h>

#include <array>
#include <string>
#include <vector>

#include "src/common/ByteWriter.h"

/// As it stands, the smallest configuration: five empty texts.
struct ConfigPayload {
    uint8_t force = 0;
    std::array<uint8_t, 6> address = {0x0A, 0x1B, 0x2C, 0x3D, 0x4E, 0x5F};
    uint16_t displayWidth = 0x0780;
    uint16_t displayHeight = 0x0438;
    uint8_t displayFlag = 0;
    uint16_t auxWidth = 0;
    uint16_t auxHeight = 0;
    std::string apiMode;
    std::string language;
    std::string portalUrl;
    std::string auxText1;
    uint8_t auxValue = 1;
    std::string auxText2;

    /// Filled once by bytes(): where the lengths of the texts stand.
    std::vector<size_t> lengthOffsets;

    std::vector<char> bytes()
    {
        lengthOffsets.clear();
        std::vector<char> payload;
        ByteWriter writer(payload);
        writer.u8(force);
        writer.raw(address.data(), address.size());
        writer.u16(displayWidth);
        writer.u16(displayHeight);
        writer.u8(displayFlag);
        writer.u16(auxWidth);
        writer.u16(auxHeight);
        for (std::string const* const text : {&apiMode, &language, &portalUrl, &auxText1}) {
            append(payload, *text);
        }
        writer.u8(auxValue);
        append(payload, auxText2);
        return payload;
    }

private:
    void append(std::vector<char>& payload, std::string const& text)
    {
        lengthOffsets.push_back(payload.size());
        ByteWriter writer(payload);
        writer.u16(static_cast<uint16_t>(text.size() + 1));
        writer.raw(text.data(), text.size());
        writer.u8(0);
    }
};

#endif
