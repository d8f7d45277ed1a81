#!/usr/bin/env bash
# completion_bash.sh SCRIPT PROGRAM WORD...: prints what bash offers for the last word.
set -euo pipefail
# shellcheck source=/dev/null
source "$1"
shift
COMP_WORDS=("$@")
COMP_CWORD=$(($# - 1))
_zelobox
printf '%s\n' "${COMPREPLY[@]}"
