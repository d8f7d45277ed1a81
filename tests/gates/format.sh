# shellcheck shell=bash
# The C++ sources have the form that clang-format gives them (mend with ./dev format), and no line of the build's and
# the scripts' is longer than theirs.
set -euo pipefail

cxx_sources | xargs clang-format-14 --dry-run --Werror

mapfile -t files < <(sources \( -name CMakeLists.txt -o -name '*.cmake' -o -name CMakePresets.json \) && shell_scripts)
awk 'length > 120 { print FILENAME ":" FNR ": " length " columns"; found = 1 } END { exit found }' "${files[@]}"
