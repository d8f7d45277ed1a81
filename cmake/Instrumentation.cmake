# What a build adds to everything to watch it run; on top of the flags of the toolchain and of the environment.
if(ZELO_SANITIZE)
  add_compile_options(-O1 -fno-omit-frame-pointer "-fsanitize=${ZELO_SANITIZE}" -fno-sanitize-recover=undefined)
  # With a sanitizer's code in between, GCC 12 takes what std::regex and std::function move for uninitialised.
  add_compile_options($<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
  add_link_options("-fsanitize=${ZELO_SANITIZE}")
endif()
if(ZELO_COVERAGE)
  add_compile_options(-O0 --coverage -fprofile-update=atomic)
  add_link_options(--coverage)
endif()
