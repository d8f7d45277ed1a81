# shellcheck shell=bash
# Every header stands alone. The public one does so for every host: twice, without a warning, at the oldest and the
# newest standard, with both compilers; and it says of each function which threads may call it and whether it blocks.
set -euo pipefail

cd "$ZELO_ROOT"
public=cobalt/ZeloCobalt.h

# compile COMPILER STANDARD: the source is on standard input
compile() {
  "$1" -std="$2" -x c++ -fsyntax-only -Wall -Wextra -Wpedantic -Werror -Wno-deprecated-declarations \
    -I. -isystem inc/zelostb -
}

for compiler in g++ clang++; do
  for standard in c++14 c++2b; do
    printf '#include "%s"\n' "$public" "$public" | compile "$compiler" "$standard"
  done
done

find cobalt src inc simulator tests -name '*.h' | while read -r header; do
  printf '#include "%s"\n' "$header" | compile clang++ c++17
done

awk '/^\/\/\/ @par/ { said[$3] = 1 }
  /^ZELO_EXPORT/ {
    ++functions
    if (!said["Threads"] || !said["Blocking"]) { print FILENAME ":" FNR ": no @par Threads or @par Blocking"; bad = 1 }
  }
  /^$/ { delete said }
  END { if (functions != 13) { print FILENAME ": " functions " exported functions, not 13"; bad = 1 }; exit bad }' \
  "$public"
