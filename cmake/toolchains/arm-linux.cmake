# 32-bit ARM Linux with glibc. The defaults are Thumb-2 with hardware floating point; other boxes and other vendors'
# toolchains set the variables:
#   ZELO_ARM_TRIPLET    prefix of the tools, for example arm-linux-gnueabi
#   ZELO_ARM_CPU        value of -mcpu or, with a leading "arch:", of -march; empty for the compiler's own default
#   ZELO_ARM_FLOAT_ABI  value of -mfloat-abi; empty for the compiler's own default
#   ZELO_ARM_THUMB      whether the code is Thumb code
#   ZELO_ARM_SYSROOT    where the box's C library is; handed to --sysroot unless it is the compiler's own
#   ZELO_ARM_EMULATOR   user-mode emulator by which the tests run; empty on a machine that needs none
set(ZELO_ARM_TRIPLET "arm-linux-gnueabihf" CACHE STRING "Prefix of the cross tools")
set(ZELO_ARM_CPU "arch:armv7-a+fp" CACHE STRING "CPU (-mcpu), or arch:NAME (-march)")
set(ZELO_ARM_FLOAT_ABI "hard" CACHE STRING "Floating-point calling convention: hard, softfp or soft")
set(ZELO_ARM_THUMB ON CACHE BOOL "Thumb code")
set(ZELO_ARM_SYSROOT "" CACHE PATH "Root of the box's C library, if the compiler does not know it")
set(ZELO_ARM_EMULATOR "qemu-arm" CACHE STRING "User-mode emulator for the tests")
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES
     ZELO_ARM_TRIPLET ZELO_ARM_CPU ZELO_ARM_FLOAT_ABI ZELO_ARM_THUMB ZELO_ARM_SYSROOT ZELO_ARM_EMULATOR)

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(CMAKE_C_COMPILER "${ZELO_ARM_TRIPLET}-gcc")
set(CMAKE_CXX_COMPILER "${ZELO_ARM_TRIPLET}-g++")

if(ZELO_ARM_CPU MATCHES "^arch:(.+)")
  set(zelo_arm_flags "-march=${CMAKE_MATCH_1}")
elseif(ZELO_ARM_CPU)
  set(zelo_arm_flags "-mcpu=${ZELO_ARM_CPU}")
endif()
if(ZELO_ARM_FLOAT_ABI)
  string(APPEND zelo_arm_flags " -mfloat-abi=${ZELO_ARM_FLOAT_ABI}")
endif()
if(ZELO_ARM_THUMB)
  string(APPEND zelo_arm_flags " -mthumb")
else()
  string(APPEND zelo_arm_flags " -marm")
endif()
# GCC 7 corrected how some classes are passed; the compiler would say so at every template that passes one.
string(APPEND zelo_arm_flags " -Wno-psabi")
set(CMAKE_C_FLAGS_INIT "${zelo_arm_flags}")
set(CMAKE_CXX_FLAGS_INIT "${zelo_arm_flags}")

# Debian's cross libraries lie beside the compiler's own files, without a sysroot of their own.
set(zelo_arm_root "/usr/${ZELO_ARM_TRIPLET}")
if(ZELO_ARM_SYSROOT)
  set(CMAKE_SYSROOT "${ZELO_ARM_SYSROOT}")
  set(zelo_arm_root "${ZELO_ARM_SYSROOT}")
endif()
set(CMAKE_FIND_ROOT_PATH "${zelo_arm_root}")
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
if(ZELO_ARM_EMULATOR)
  set(CMAKE_CROSSCOMPILING_EMULATOR "${ZELO_ARM_EMULATOR};-L;${zelo_arm_root}")
endif()
