# 32-bit ARM Linux with glibc. The defaults are Thumb-2 with hardware floating point; other boxes and other vendors'
# toolchains set the variables:
#   ZELO_ARM_TRIPLET    prefix of the tools and what is compiled for, for example arm-linux-gnueabi
#   ZELO_ARM_COMPILER   gcc, the tools of the prefix; or clang, which compiles for every processor. Another compiler is
#                       set by CMAKE_CXX_COMPILER as everywhere.
#   ZELO_ARM_CPU        value of -mcpu or, with a leading "arch:", of -march; empty for the compiler's own default
#   ZELO_ARM_FLOAT_ABI  value of -mfloat-abi; empty for the compiler's own default
#   ZELO_ARM_THUMB      whether the code is Thumb code
#   ZELO_ARM_SYSROOT    where the box's C library is; handed to --sysroot unless it is the compiler's own
#   ZELO_ARM_EMULATOR   user-mode emulator by which the tests run; empty on a machine that needs none
# The environment's CXXFLAGS and LDFLAGS count as everywhere; what is said here comes after them.
set(ZELO_ARM_TRIPLET "arm-linux-gnueabihf" CACHE STRING "Prefix of the cross tools")
set(ZELO_ARM_COMPILER "gcc" CACHE STRING "gcc or clang")
set(ZELO_ARM_CPU "arch:armv7-a+fp" CACHE STRING "CPU (-mcpu), or arch:NAME (-march)")
set(ZELO_ARM_FLOAT_ABI "hard" CACHE STRING "Floating-point calling convention: hard, softfp or soft")
set(ZELO_ARM_THUMB ON CACHE BOOL "Thumb code")
set(ZELO_ARM_SYSROOT "" CACHE PATH "Root of the box's C library, if the compiler does not know it")
set(ZELO_ARM_EMULATOR "qemu-arm" CACHE STRING "User-mode emulator for the tests")
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES ZELO_ARM_TRIPLET ZELO_ARM_COMPILER ZELO_ARM_CPU ZELO_ARM_FLOAT_ABI
     ZELO_ARM_THUMB ZELO_ARM_SYSROOT ZELO_ARM_EMULATOR)

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)
if(ZELO_ARM_COMPILER STREQUAL "clang")
  set(zelo_arm_cc clang)
  set(zelo_arm_cxx clang++)
else()
  set(zelo_arm_cc "${ZELO_ARM_TRIPLET}-gcc")
  set(zelo_arm_cxx "${ZELO_ARM_TRIPLET}-g++")
endif()
if(NOT CMAKE_C_COMPILER)
  set(CMAKE_C_COMPILER "${zelo_arm_cc}")
endif()
if(NOT CMAKE_CXX_COMPILER)
  set(CMAKE_CXX_COMPILER "${zelo_arm_cxx}")
endif()
# For Clang; GCC is made for one target.
set(CMAKE_C_COMPILER_TARGET "${ZELO_ARM_TRIPLET}")
set(CMAKE_CXX_COMPILER_TARGET "${ZELO_ARM_TRIPLET}")

if(ZELO_ARM_CPU MATCHES "^arch:(.+)")
  set(zelo_arm_flags "-march=${CMAKE_MATCH_1}")
elseif(ZELO_ARM_CPU)
  set(zelo_arm_flags "-mcpu=${ZELO_ARM_CPU}")
else()
  set(zelo_arm_flags "")
endif()
if(ZELO_ARM_FLOAT_ABI)
  list(APPEND zelo_arm_flags "-mfloat-abi=${ZELO_ARM_FLOAT_ABI}")
endif()
if(ZELO_ARM_THUMB)
  list(APPEND zelo_arm_flags -mthumb)
else()
  list(APPEND zelo_arm_flags -marm)
endif()
# Options, not the flags that the cache keeps from the first configuration on: what is changed later counts as well.
add_compile_options(${zelo_arm_flags})
add_link_options(${zelo_arm_flags})
# GCC 7 corrected how some classes are passed; the compiler would say so at every template that passes one.
add_compile_options(-Wno-psabi)

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
