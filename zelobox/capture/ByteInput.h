/// @file
/// What recorded traffic looks like.
#ifndef ZELO_ZELOBOX_BYTEINPUT_H
#define ZELO_ZELOBOX_BYTEINPUT_H

#include <string>

namespace zelobox {

enum class InputFormat {
    Raw,
    Hex,
    JsonLines,
    Pcapng, ///< and the format before it
};

/// @return what @p contents look like; bytes when they look like nothing else
InputFormat guessFormat(std::string const& contents);

} // namespace zelobox

#endif
