include("${CMAKE_CURRENT_LIST_DIR}/HeaderOnly.cmake")
zelo_header_only(CLI11::CLI11 CLI)
include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(CLI11 REQUIRED_VARS ZELO_HEADER_ONLY_FOUND)
