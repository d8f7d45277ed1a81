// The box's identity: ZELOSTB_DEVICE_ID, or a fixed one. Compiled once for each string ABI, which is part of the
// function's name.
#include <STBFirmwareUpdater.h>
#include <stdlib.h>

std::string STBFirmwareUpdater::getCurrentDeviceId()
{
    char const* const id = getenv("ZELOSTB_DEVICE_ID");
    return id != nullptr ? id : "ZELOBOX-0001";
}
