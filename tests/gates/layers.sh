# shellcheck shell=bash
# The parts of the library know only what lies below them, and nothing of what uses the library.
set -euo pipefail

cd "$ZELO_ROOT"
status=0

# knows DIRECTORY DIRECTORY...: the first includes from itself and the others only
knows() {
  local pattern
  pattern=$(IFS='|' && echo "$*")
  if grep --recursive --line-number '#include "' "$1" | grep --invert-match --extended-regexp "\"($pattern)/"; then
    echo "^ $1 knows only: $*"
    status=1
  fi
}

knows inc/zelostb
knows inc/private
knows src/common inc/private
knows src/ipc src/common inc/private
knows cobalt src/ipc src/common inc/private

exit "$status"
