# shellcheck shell=bash
# The lock analysis is alive: with the flags of the preset, each file in locks/ ends as its first line says.
set -euo pipefail

configure clang
# The flags that the library is compiled with: a build that loses one must be seen here.
mapfile -t flags < <(sed -n '/"file": .*IPCMessengerClient.cpp/q; s/^  "command": //p' \
  "$ZELO_BUILD/clang/compile_commands.json" | tail -n 1 | grep --only-matching --extended-regexp -- ' -W[a-z-]+' |
  sed 's/^ //')

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
