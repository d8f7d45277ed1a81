/// @file
/// The ways in which the texts of a configuration are commonly written wrong.
#ifndef ZELO_ZELOBOX_TEXTFORMS_H
#define ZELO_ZELOBOX_TEXTFORMS_H

#include <string>
#include <vector>

namespace zelobox {

/// Tries how the texts would have to be written for the payload to end where they do.
///
/// @param payload  of an IPC_BROWSER_CONFIG that is not as the protocol says
/// @return "all texts read if their lengths have 32 bits: "tv", "en", ..."; empty when none fits
std::string guessTextForm(std::vector<char> const& payload);

} // namespace zelobox

#endif
