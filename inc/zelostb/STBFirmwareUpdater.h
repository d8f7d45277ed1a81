/// @file
/// The box's identity, as far as this library asks for it. The host process supplies the definition.
#ifndef ZELOSTB_STBFIRMWAREUPDATER_H
#define ZELOSTB_STBFIRMWAREUPDATER_H

#include <string>

class STBFirmwareUpdater {
public:
    static std::string getCurrentDeviceId();
};

#endif
