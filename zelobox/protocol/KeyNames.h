/// @file
/// Names of keys, for people.
#ifndef ZELO_ZELOBOX_KEYNAMES_H
#define ZELO_ZELOBOX_KEYNAMES_H

#include <cstdint>
#include <string>

namespace zelobox {

/// @param key  a host's key code, see KeyCodeToSbKey()
/// @return "Return", "Up", "7", "A"; "none" for 0
std::string keyName(uint32_t key);

/// @return keyName() of the key that a command of the remote control is
std::string keyNameOf(uint32_t command);

} // namespace zelobox

#endif
