# shellcheck shell=bash
# GCC has nothing to say about library, zelobox, tests and benchmarks.
set -euo pipefail

configure default
cmake --build "$ZELO_BUILD/default" -- -k 0
configure bench
cmake --build "$ZELO_BUILD/bench" --target benches -- -k 0
