# shellcheck shell=bash
# Each part knows only what lies below it, and nothing of what uses it.
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

# ignores NAME FILE...: no file includes a header whose name begins so
ignores() {
  local name=$1
  shift
  if grep --line-number --with-filename --extended-regexp "#include \"src/ipc/($name)" "$@"; then
    echo "^ knows nothing of $name"
    status=1
  fi
}

# The library.
knows inc/zelostb
knows inc/private
knows src/common inc/private
knows src/ipc src/common inc/private
knows cobalt src/ipc src/common inc/private

# What crosses the link, the socket, what is done with both, and the life of connections.
ignores 'Messenger|Frame|Out|IPCMessenger' src/ipc/{IPCMessage,IPCPlayerMessage,IPCBrowserConfig,IPCFrame}.cpp \
  src/ipc/{IPCMessage,IPCBrowserConfig,IPCFrame,IPCText}.h
ignores 'Frame|Out|IPC' src/ipc/MessengerSocket.* src/ipc/MessengerLog.h
ignores 'Out' src/ipc/FrameReceiver.*
ignores 'Frame' src/ipc/OutMessageSender.*

# zelobox: the messages and values that it shares with the library, and the library's public header.
codec=(src/ipc src/common)
knows zelobox/base
knows zelobox/stb
knows zelobox/protocol zelobox/base "${codec[@]}" cobalt
knows zelobox/middleware zelobox/protocol zelobox/base "${codec[@]}"
knows zelobox/host zelobox/protocol zelobox/base zelobox/stb cobalt
knows zelobox/capture zelobox/middleware zelobox/protocol zelobox/base "${codec[@]}"
knows zelobox/scenario zelobox/middleware zelobox/protocol zelobox/base "${codec[@]}"
knows zelobox/web zelobox/middleware zelobox/protocol zelobox/base cobalt
knows zelobox/check zelobox/scenario zelobox/capture zelobox/middleware zelobox/protocol zelobox/base "${codec[@]}" \
  cobalt
knows zelobox/commands zelobox

# What stands around them.
knows testkit zelobox/protocol zelobox/base cobalt src inc
knows fuzz testkit zelobox/protocol zelobox/base cobalt src inc
knows bench testkit zelobox/protocol zelobox/base cobalt src inc

exit "$status"
