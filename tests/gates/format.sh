# shellcheck shell=bash
# The C++ sources have the form that clang-format gives them. Mend with ./dev format.
set -euo pipefail

cxx_sources | xargs clang-format-14 --dry-run --Werror
