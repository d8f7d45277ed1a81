/// @file
/// Text from outside, made fit for one line of a terminal.
#ifndef ZELO_ZELOBOX_PRINTABLE_H
#define ZELO_ZELOBOX_PRINTABLE_H

#include <string>

namespace zelobox {

/// @return whether @p text is UTF-8: no overlong forms, no surrogates, nothing above U+10FFFF
bool isUtf8(std::string const& text);

/// Escapes what a terminal would act on or what hides other text: control characters of both sets, the marks that
/// reverse the direction of writing, and separators of lines, as in JSON: \u009b. Bytes that are no UTF-8 become
/// U+FFFD.
std::string printable(std::string const& text);

} // namespace zelobox

#endif
