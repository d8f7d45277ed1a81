# GoogleTest from its sources, so that it has the string ABI, the sanitizers and the target of everything else.
set(ZELO_GOOGLETEST_DIR "/usr/src/googletest" CACHE PATH "Sources of GoogleTest (Debian: package googletest)")
if(NOT EXISTS "${ZELO_GOOGLETEST_DIR}/CMakeLists.txt")
  message(FATAL_ERROR "no GoogleTest sources in ${ZELO_GOOGLETEST_DIR}: install googletest or set ZELO_GOOGLETEST_DIR")
endif()
set(INSTALL_GTEST OFF)
add_subdirectory("${ZELO_GOOGLETEST_DIR}" "${PROJECT_BINARY_DIR}/googletest" EXCLUDE_FROM_ALL SYSTEM)
