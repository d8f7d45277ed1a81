/// @file
/// An updater that does more than tell the device's identity.
#ifndef ALTSTB_STBFIRMWAREUPDATER_H
#define ALTSTB_STBFIRMWAREUPDATER_H

#include <string>

class STBFirmwareUpdater {
public:
    explicit STBFirmwareUpdater(int channel);
    virtual ~STBFirmwareUpdater();
    virtual bool update(std::string const& url);

    static std::string getCurrentDeviceId();

private:
    int channel;
};

#endif
