/// @file
/// The vendor's identity under the library's name.
#ifndef SHIM_STBFIRMWAREUPDATER_H
#define SHIM_STBFIRMWAREUPDATER_H

#include <Platform.hpp>

using STBFirmwareUpdater = vendor::Identity;

#endif
