#!/usr/bin/env bash
# isolate.sh NM OBJCOPY LD OUT OBJECT...: one object of the library, its outside replaced by the simulated one
#
# Each C function that the library calls is either simulated, which simulated.txt says, or computes and no more, which
# pure.txt says. A function in neither list is an error here, not a surprise in a run.
set -euo pipefail

here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
nm=$1 objcopy=$2 ld=$3 out=$4
shift 4

# Sections whose names are identifiers get symbols at their ends. The groups are dissolved and the names made local, so
# that no inline function is shared with the simulation, which is not instrumented.
"$ld" -r --force-group-allocation -T "$here/sections.ld" -o "$out.joined" "$@"

mapfile -t simulated < <(grep --invert-match --extended-regexp '^(#|$)' "$here/simulated.txt")
printf '%s\n' "${simulated[@]}" | sed 's/.*/& simulated_&/' >"$out.names"
entries=$("$nm" --defined-only --extern-only "$out.joined" |
  awk '{ print $3 }' | grep --extended-regexp '^(_Z[0-9]+Zelo[A-Z]|_Z14KeyCodeToSbKey)' |
  sed 's/^/--keep-global-symbol=/')
# shellcheck disable=SC2086 # one option a word
"$objcopy" --redefine-syms="$out.names" $entries "$out.joined" "$out"

# C++ names are the host's or the runtime's, which computes and no more, but for its threads, locks, clocks and files.
unknown=$("$nm" --undefined-only "$out" | awk '{ print $NF }' |
  grep --extended-regexp '^_ZN?K?St.*(chrono|thread|mutex|condition_variable|filebuf|fstream)|^[^_]|^_[^Z]' |
  grep --invert-match --extended-regexp '^(__tsan_|simulated_|__cxa_|_Unwind_|_GLOBAL_OFFSET_TABLE_$)' |
  grep --invert-match --line-regexp --fixed-strings --file="$here/pure.txt" || true)
if [ -n "$unknown" ]; then
  echo "simulation: the library calls functions that are neither simulated nor pure: ${unknown//$'\n'/ }" >&2
  rm -f "$out"
  exit 1
fi
