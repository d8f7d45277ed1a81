# shellcheck shell=bash
# Every header stands alone: it includes what it needs.
set -euo pipefail

cd "$ZELO_ROOT"

# What the sources of the tests and of zelobox are given.
includes=(-I. -isystem inc/zelostb -isystem /usr/src/googletest/googletest/include -isystem
  /usr/src/googletest/googlemock/include -isystem tests/shimstb/vendor)

# The public header has tests of its own, of which one must fail.
find cobalt src inc zelobox testkit tests fuzz bench -name '*.h' -not -path 'tests/headers/*' -print0 |
  xargs -0 --max-procs="$(nproc)" -I HEADER clang++ -std=c++17 -x c++ -fsyntax-only -Wno-deprecated-declarations \
    -Werror "${includes[@]}" -include HEADER /dev/null
