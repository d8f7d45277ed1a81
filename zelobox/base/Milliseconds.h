/// @file
/// The unit of all waits.
#ifndef ZELO_ZELOBOX_MILLISECONDS_H
#define ZELO_ZELOBOX_MILLISECONDS_H

#include <chrono>

namespace zelobox {

using Milliseconds = std::chrono::milliseconds;

} // namespace zelobox

#endif
