# shellcheck shell=bash
# The lock analysis is alive: with the flags of the preset, each file in locks/ ends as its first line says.
set -euo pipefail

configure clang
# The flags as they are in the cache: a preset that loses one must be seen here.
read -ra flags < <(sed -n 's/^CMAKE_CXX_FLAGS:STRING=//p' "$ZELO_BUILD/clang/CMakeCache.txt")

# compile FILE: prints what the compiler says
compile() {
  clang++ -std=c++14 -fsyntax-only -Werror -Wno-deprecated-declarations "${flags[@]}" \
    -I "$ZELO_ROOT" -isystem "$ZELO_ROOT/inc/zelostb" "$1" 2>&1
}

for file in "$ZELO_ROOT"/tests/gates/locks/*.cpp; do
  expected=$(sed -n '1 s|^// ||p' "$file")
  said=$(compile "$file") && said=compiles
  if ! grep --quiet --fixed-strings -- "$expected" <<<"$said"; then
    echo "$file: expected '$expected', but the compiler said:"
    echo "$said"
    exit 1
  fi
done
