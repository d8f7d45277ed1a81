# The compilers of Debian 12, whose warnings are all known. A newer one's must not keep anybody from a first look.
if(ZELO_WERROR STREQUAL "KNOWN")
  set(zelo_werror OFF)
  if((CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION MATCHES "^12\\.")
     OR (CMAKE_CXX_COMPILER_ID STREQUAL "Clang" AND CMAKE_CXX_COMPILER_VERSION MATCHES "^14\\."))
    set(zelo_werror ON)
  endif()
else()
  set(zelo_werror ${ZELO_WERROR})
endif()

# std::auto_ptr is part of the interface between manager, client and message factory; this is the one place where its
# deprecation is silenced. Clang checks the lock annotations as well.
function(zelo_add_warnings target)
  target_compile_options(${target} INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wconversion
                         -Wno-deprecated-declarations $<$<BOOL:${zelo_werror}>:-Werror>
                         $<$<CXX_COMPILER_ID:Clang>:-Wthread-safety$<SEMICOLON>-Wthread-safety-beta>)
endfunction()
