# GoogleTest from its sources, so that it has the string ABI, the sanitizers and the target of everything else.
set(ZELO_GOOGLETEST_DIR "/usr/src/googletest" CACHE PATH "Sources of GoogleTest (Debian: package googletest)")
if(NOT EXISTS "${ZELO_GOOGLETEST_DIR}/CMakeLists.txt")
  message(FATAL_ERROR "no GoogleTest sources in ${ZELO_GOOGLETEST_DIR}: install googletest or set ZELO_GOOGLETEST_DIR")
endif()
set(INSTALL_GTEST OFF)
add_subdirectory("${ZELO_GOOGLETEST_DIR}" "${PROJECT_BINARY_DIR}/googletest" EXCLUDE_FROM_ALL)
# Its warnings and findings are not ours.
foreach(target IN ITEMS gtest gtest_main gmock gmock_main)
  get_target_property(directories ${target} INTERFACE_INCLUDE_DIRECTORIES)
  set_target_properties(${target} PROPERTIES
    INTERFACE_SYSTEM_INCLUDE_DIRECTORIES "${directories}" CXX_CLANG_TIDY "")
endforeach()
