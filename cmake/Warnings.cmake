# std::auto_ptr is part of the interface between manager, client and message factory; this is the one place where its
# deprecation is silenced.
function(zelo_add_warnings target)
  target_compile_options(${target} INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wconversion
                         -Wno-deprecated-declarations $<$<BOOL:${ZELO_WERROR}>:-Werror>)
endfunction()
