# Runs clang-tidy beside the compiler on every source of the targets that follow. Its findings are errors.
find_program(ZELO_CLANG_TIDY_PROGRAM NAMES clang-tidy-14 clang-tidy REQUIRED)

# The build sees a command line, not the configuration files: the definition makes a changed file a changed command.
set(zelo_clang_tidy_files "${PROJECT_SOURCE_DIR}/.clang-tidy" "${PROJECT_SOURCE_DIR}/zelobox/.clang-tidy"
    "${PROJECT_SOURCE_DIR}/tests/.clang-tidy")
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${zelo_clang_tidy_files})
set(zelo_clang_tidy_hashes "")
foreach(file IN LISTS zelo_clang_tidy_files)
  file(SHA1 "${file}" hash)
  string(APPEND zelo_clang_tidy_hashes "_${hash}")
endforeach()
set(CMAKE_CXX_CLANG_TIDY "${ZELO_CLANG_TIDY_PROGRAM}" --quiet --warnings-as-errors=*
    --extra-arg=-DZELO_CLANG_TIDY_FILES=${zelo_clang_tidy_hashes})
