/// @file
/// What the middleware tells the browser side in an IPC_BROWSER_CONFIG message.
#ifndef ZELO_IPC_IPCBROWSERCONFIG_H
#define ZELO_IPC_IPCBROWSERCONFIG_H

#include <stdint.h>

#include <string>
#include <vector>

/// The fields in the order of the payload; each width is the payload's.
///
/// A text is a length in 16 bits that counts a terminating byte, the text's bytes, and that byte, which is never looked
/// at. Bytes after the last text are ignored.
struct IPCBrowserConfig {
    bool forcePortalUrl = false; ///< 8 bits: the portal address counts as new even when it is not
    std::string macAddress;      ///< 6 bytes, as "0A:1B:2C:3D:4E:5F"
    uint16_t displayWidth = 0;
    uint16_t displayHeight = 0;
    bool displayFlag = false; ///< 8 bits
    uint16_t auxWidth = 0;
    uint16_t auxHeight = 0;
    std::string apiMode;
    std::string language; ///< ends at its first zero byte
    std::string portalUrl;
    std::string auxText1;
    uint8_t auxValue = 0;
    std::string auxText2;

    /// Sets the fields from @p payload.
    ///
    /// @return false if the payload is not all there; the fields then have no meaning
    /// @throw std::bad_alloc
    bool read(std::vector<char> const& payload);
};

#endif
