#!/usr/bin/env bash
# A seed is the same run each time, byte for byte, also after others: replay_test.sh PROGRAM
set -euo pipefail

for seed in 1 2 3 17 320; do
  first=$("$1" --seed "$seed" --trace)
  second=$("$1" --seed "$seed" --trace)
  [ "$first" = "$second" ] || { echo "seed $seed runs in two ways" >&2 && exit 1; }
  [ "$(wc -l <<<"$first")" -gt 20 ] || { echo "seed $seed has no trace" >&2 && exit 1; }
done
