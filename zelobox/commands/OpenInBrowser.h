/// @file
/// The page's address in the browser of whoever sits there.
#ifndef ZELO_ZELOBOX_OPENINBROWSER_H
#define ZELO_ZELOBOX_OPENINBROWSER_H

#include <string>

#include "zelobox/middleware/Timeline.h"

namespace zelobox {

/// @param timeline  says so if there is no program for it
void openInBrowser(std::string const& address, Timeline& timeline);

} // namespace zelobox

#endif
