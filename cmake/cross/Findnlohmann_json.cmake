include("${CMAKE_CURRENT_LIST_DIR}/HeaderOnly.cmake")
zelo_header_only(nlohmann_json::nlohmann_json nlohmann)
include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(nlohmann_json REQUIRED_VARS ZELO_HEADER_ONLY_FOUND)
