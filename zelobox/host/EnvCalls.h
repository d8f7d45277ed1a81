/// @file
/// ZeloGetEnv() for both string ABIs: a text of the one cannot be handed to a library of the other.
#ifndef ZELO_ZELOBOX_ENVCALLS_H
#define ZELO_ZELOBOX_ENVCALLS_H

#include <cstddef>
#include <cstdint>

namespace zelobox {

/// Receives the value, which belongs to the caller.
using EnvAnswer = void (*)(void* context, char const* value, size_t size);

bool callEnvWithNewStrings(void* entryPoint, uint32_t key, EnvAnswer answer, void* context);
bool callEnvWithOldStrings(void* entryPoint, uint32_t key, EnvAnswer answer, void* context);

} // namespace zelobox

#endif
