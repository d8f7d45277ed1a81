/// @file
/// The record that the support library's stand-in keeps of its DRM object. Found with dlsym().
#ifndef ZELO_ZELOBOX_DRMRECORD_H
#define ZELO_ZELOBOX_DRMRECORD_H

#include <stddef.h>

/// Gives the calls of the DRM object so far, one a line, oldest first: "construct", "init cel=1", "apply cel=2",
/// "bridge", "cdm", "isL1", "destroy".
///
/// @param text  receives as much as fits, zero-terminated
/// @param size  of @p text
/// @return the length of the whole text without its terminator
/// @par Threads
/// Any.
extern "C" size_t zelostb_drm_calls(char* text, size_t size);

#endif
