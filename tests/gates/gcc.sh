# shellcheck shell=bash
# GCC has nothing to say about library, zelobox and tests.
set -euo pipefail

configure default -DZELO_WERROR=ON
cmake --build "$ZELO_BUILD/default" -- -k 0
