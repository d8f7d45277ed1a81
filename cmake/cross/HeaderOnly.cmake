# A header-only library of the building machine, for a cross build. Only the one directory with its headers is shown to
# the cross compiler: the native include directory as a whole would hide the target's own headers.
function(zelo_header_only target directory)
  find_path(ZELO_HOST_${directory}_DIR "${directory}" PATHS /usr/include /usr/local/include
            NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH)
  set(view "${CMAKE_BINARY_DIR}/header-only")
  if(ZELO_HOST_${directory}_DIR)
    file(MAKE_DIRECTORY "${view}")
    file(CREATE_LINK "${ZELO_HOST_${directory}_DIR}/${directory}" "${view}/${directory}" SYMBOLIC)
  endif()
  if(NOT TARGET ${target})
    add_library(${target} INTERFACE IMPORTED)
    set_target_properties(${target} PROPERTIES INTERFACE_INCLUDE_DIRECTORIES "${view}")
  endif()
  set(ZELO_HEADER_ONLY_FOUND "${ZELO_HOST_${directory}_DIR}" PARENT_SCOPE)
endfunction()
