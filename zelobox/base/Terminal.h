/// @file
/// Whether output is coloured.
#ifndef ZELO_ZELOBOX_TERMINAL_H
#define ZELO_ZELOBOX_TERMINAL_H

namespace zelobox {

enum class ColourChoice {
    Auto, ///< on a terminal, unless NO_COLOR is set or TERM is "dumb"
    Always,
    Never,
};

/// For the whole program. Auto at first.
void chooseColour(ColourChoice choice);

bool usesColour(int fd);

} // namespace zelobox

#endif
