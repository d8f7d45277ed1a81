# Runs clang-tidy beside the compiler on every source of the targets that follow. Its findings are errors.
find_program(ZELO_CLANG_TIDY_PROGRAM NAMES clang-tidy-14 clang-tidy REQUIRED)

# The build sees a command line, not the configuration file: the definition makes a changed file a changed command.
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/.clang-tidy")
file(SHA1 "${PROJECT_SOURCE_DIR}/.clang-tidy" ZELO_CLANG_TIDY_HASH)
set(CMAKE_CXX_CLANG_TIDY "${ZELO_CLANG_TIDY_PROGRAM}" --quiet --warnings-as-errors=*
    --extra-arg=-DZELO_CLANG_TIDY_HASH=${ZELO_CLANG_TIDY_HASH})
