# How what ends up in libzelocobalt.so is compiled and linked, on top of the toolchain's and the environment's flags.
include(CMakeDependentOption)
set(ZELO_HARDENING ON CACHE STRING "ON, OFF or LAZY, which is all but immediate binding")
option(ZELO_SEPARATE_DEBUG "Strip the library; its debug information goes into libzelocobalt.so.debug" OFF)
# Not with the tests, which take the place of the C library's functions by the names of the 32-bit ones.
cmake_dependent_option(ZELO_TIME64 "Seconds of 64 bits on a 32-bit box, if its C library has them" ON
                       "NOT ZELO_BUILD_TESTS" OFF)
set(ZELO_MIDDLEWARE_UID "" CACHE STRING "Number of the user whose middleware alone is believed; empty: any")
set(ZELO_MAX_GLIBC "" CACHE STRING "Newest GLIBC_ version that the library may need, for example 2.28")
set(ZELO_MAX_GLIBCXX "" CACHE STRING "Newest GLIBCXX_ version that the library may need, for example 3.4.25")

# Without optimisation the checks of _FORTIFY_SOURCE cannot be; a sanitizer has its own.
set(zelo_fortify OFF)
if(CMAKE_BUILD_TYPE MATCHES "Rel" AND NOT ZELO_SANITIZE AND NOT ZELO_COVERAGE)
  set(zelo_fortify ON)
endif()

# No type with a time in it crosses the host's interface, so the host may be of either width.
set(zelo_time64 "")
if(ZELO_TIME64 AND CMAKE_SIZEOF_VOID_P EQUAL 4)
  include(CheckCXXSourceCompiles)
  set(CMAKE_REQUIRED_DEFINITIONS -D_TIME_BITS=64 -D_FILE_OFFSET_BITS=64)
  check_cxx_source_compiles("#include <time.h>
static_assert(sizeof(time_t) == 8, \"\");
int main() {}" ZELO_HAS_TIME64)
  if(ZELO_HAS_TIME64)
    set(zelo_time64 ${CMAKE_REQUIRED_DEFINITIONS})
  endif()
  unset(CMAKE_REQUIRED_DEFINITIONS)
endif()

if(NOT ZELO_MIDDLEWARE_UID MATCHES "^[0-9]*$")
  message(FATAL_ERROR "ZELO_MIDDLEWARE_UID is no number: ${ZELO_MIDDLEWARE_UID}")
endif()

function(zelo_library_part name)
  add_library(${name} OBJECT ${ARGN})
  if(NOT ZELO_MIDDLEWARE_UID STREQUAL "")
    target_compile_definitions(${name} PRIVATE ZELO_MIDDLEWARE_UID=${ZELO_MIDDLEWARE_UID})
  endif()
  target_link_libraries(${name} PRIVATE zelo_options)
  set_target_properties(${name} PROPERTIES
    POSITION_INDEPENDENT_CODE ON CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
  target_compile_options(${name} PRIVATE
    ${zelo_time64} -ffunction-sections -fdata-sections
    # On ARM a function that cannot throw has no unwind table otherwise, and the report of a failed check would end
    # in it.
    -funwind-tables
    # GNU_UNIQUE symbols would keep the library in the process after dlclose.
    $<$<CXX_COMPILER_ID:GNU>:-fno-gnu-unique>)
  if(CMAKE_BUILD_TYPE STREQUAL "MinSizeRel" AND CMAKE_SYSTEM_PROCESSOR MATCHES "^arm")
    # They make the code larger there.
    target_compile_options(${name} PRIVATE $<$<CXX_COMPILER_ID:GNU>:-fno-ipa-sra$<SEMICOLON>-fno-gcse>)
  endif()
  if(ZELO_HARDENING)
    target_compile_options(${name} PRIVATE -fstack-protector-strong)
    if(zelo_fortify)
      target_compile_options(${name} PRIVATE -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2)
    endif()
  endif()
  if(ZELO_SEPARATE_DEBUG)
    # Where the sources lay is no part of the file.
    target_compile_options(${name} PRIVATE -g "-ffile-prefix-map=${PROJECT_SOURCE_DIR}/="
                           "-ffile-prefix-map=${PROJECT_BINARY_DIR}=.")
  endif()
endfunction()

# The version is in the file, not in the log: readelf --notes and strings show it.
function(zelo_link_library target)
  configure_file("${PROJECT_SOURCE_DIR}/cmake/Version.cpp.in" Version.cpp @ONLY)
  target_sources(${target} PRIVATE "${CMAKE_CURRENT_BINARY_DIR}/Version.cpp")
  target_link_libraries(${target} PRIVATE Threads::Threads ${CMAKE_DL_LIBS})
  # What the host supplies stays undefined, so there is no -z defs.
  target_link_options(${target} PRIVATE "LINKER:--version-script=${PROJECT_SOURCE_DIR}/cmake/exports.map"
                      LINKER:--as-needed LINKER:--gc-sections LINKER:--build-id=sha1)
  set_target_properties(${target} PROPERTIES LINK_DEPENDS "${PROJECT_SOURCE_DIR}/cmake/exports.map")
  if(ZELO_HARDENING STREQUAL "LAZY")
    target_link_options(${target} PRIVATE LINKER:-z,relro,-z,lazy)
  elseif(ZELO_HARDENING)
    target_link_options(${target} PRIVATE LINKER:-z,relro,-z,now)
  endif()
  if(ZELO_SEPARATE_DEBUG)
    target_link_options(${target} PRIVATE "-ffile-prefix-map=${PROJECT_BINARY_DIR}=.")
    add_custom_command(TARGET ${target} POST_BUILD
      COMMAND "${CMAKE_OBJCOPY}" --only-keep-debug $<TARGET_FILE:${target}> $<TARGET_FILE:${target}>.debug
      COMMAND "${CMAKE_OBJCOPY}" --strip-unneeded --add-gnu-debuglink=$<TARGET_FILE:${target}>.debug
              $<TARGET_FILE:${target}>
      COMMENT "Moving the debug information of $<TARGET_FILE_NAME:${target}> into a file of its own" VERBATIM)
  endif()
  if(ZELO_MAX_GLIBC OR ZELO_MAX_GLIBCXX)
    add_custom_command(TARGET ${target} POST_BUILD
      COMMAND "${CMAKE_COMMAND}" "-DREADELF=${CMAKE_READELF}" "-DLIBRARY=$<TARGET_FILE:${target}>"
              "-DGLIBC=${ZELO_MAX_GLIBC}" "-DGLIBCXX=${ZELO_MAX_GLIBCXX}"
              -P "${PROJECT_SOURCE_DIR}/cmake/CheckVersions.cmake" VERBATIM)
  endif()
endfunction()
