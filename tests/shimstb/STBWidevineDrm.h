/// @file
/// The vendor's DRM classes under the library's names.
#ifndef SHIM_STBWIDEVINEDRM_H
#define SHIM_STBWIDEVINEDRM_H

#include <Platform.hpp>

using STBDrmCdmBridge = vendor::DecryptionBase;
using STBDrmCdmInterface = vendor::Decryption;
using STBWidevineDrm = vendor::Widevine;

#endif
