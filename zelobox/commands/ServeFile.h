/// @file
/// The page of a capture file.
#ifndef ZELO_ZELOBOX_SERVEFILE_H
#define ZELO_ZELOBOX_SERVEFILE_H

#include <cstdint>
#include <string>

namespace zelobox {

/// Shows @p path in the browser until Ctrl-C.
///
/// @param port  see WebPage
/// @param open  open the browser, too
/// @return see ExitCode
/// @throw InputError when the file cannot be read
int serveFile(std::string const& path, uint16_t port, bool open);

} // namespace zelobox

#endif
