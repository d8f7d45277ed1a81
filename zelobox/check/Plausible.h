/// @file
/// Values that are legal but hardly meant, and what was meant instead.
#ifndef ZELO_ZELOBOX_PLAUSIBLE_H
#define ZELO_ZELOBOX_PLAUSIBLE_H

#include <cstdint>
#include <string>

namespace zelobox {

constexpr uint32_t loudest = 100;

/// @return what would be plausible; empty if the size is. 0 by 0 is: it says that there is none yet
std::string implausibleSize(uint16_t width, uint16_t height);
/// Each hint says what the value is in little-endian if that makes sense, and is empty otherwise.
std::string sizeHint(uint16_t width, uint16_t height);
std::string volumeHint(uint32_t value);

/// @return what is odd about the value of an IPC_REMOTE_KEY; empty if nothing is
std::string implausibleKey(uint32_t value);
std::string keyHint(uint32_t value);

/// @return the text that @p text was probably to be, itself if it is right; empty if it is like none
std::string lifeCycleTextMeant(std::string const& text);

/// @return whether @p text has the form of a BCP 47 tag: "en", "en-GB", "zh-Hant-TW"
bool isLanguageTag(std::string const& text);

} // namespace zelobox

#endif
