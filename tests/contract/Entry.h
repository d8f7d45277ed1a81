/// @file
/// The entry points by their symbols and with plain arguments, as a host has them that was built long ago. Nothing
/// here comes from the project's headers: that both agree is what the tests of this directory show.
#ifndef ZELO_TESTS_CONTRACT_ENTRY_H
#define ZELO_TESTS_CONTRACT_ENTRY_H

#include <stdint.h>

#include <string>

#if _GLIBCXX_USE_CXX11_ABI
#define STRING_ARGUMENT "RNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE"
#else
#define STRING_ARGUMENT "RSs"
#endif

namespace entry {

void log(int level, char const* message) __asm__("_Z7ZeloLogiPKc");
bool environment(uint32_t key, std::string& value) __asm__("_Z10ZeloGetEnv7ZeloEnv" STRING_ARGUMENT);
bool volume(uint32_t* volume, bool* muted) __asm__("_Z13ZeloGetVolumeRjRb");
bool capabilities(void* record) __asm__("_Z19ZeloGetCapabilitiesR12Capabilities");
bool displaySize(uint32_t* width, uint32_t* height) __asm__("_Z18ZeloGetDisplaySizeRjS_");
bool uiSize(uint32_t* width, uint32_t* height) __asm__("_Z13ZeloGetUISizeRjS_");
uint32_t key(int32_t command) __asm__("_Z14KeyCodeToSbKey10STBCommand");
void* cdm(void* context) __asm__("_Z7ZeloCdmPv");
bool cdmIsL1() __asm__("_Z11ZeloCdmIsL1v");
void start(void const* callbacks) __asm__("_Z12ZeloStartAppRK13ZeloCallbacks");
void stop() __asm__("_Z11ZeloStopAppv");
bool videoWindow(int x, int y, int width, int height) __asm__("_Z18ZeloSetVideoWindowiiii");
bool previousController() __asm__("_Z29ZeloRequestPreviousControllerv");

} // namespace entry

#endif
