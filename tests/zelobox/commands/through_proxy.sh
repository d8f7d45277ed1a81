#!/usr/bin/env bash
# Starts a host whose library reaches the middleware by way of a proxy.
# Usage: zelobox demo --host-command "through_proxy.sh TRACE 'PROXY...' HOST..."
#   TRACE     the file for the traffic
#   PROXY...  what runs "zelobox proxy" or "zelobox-proxy proxy"
set -euo pipefail

trace=$1
read -r -a proxy <<<"$2"
shift 2
# On the same file system: a socket that is copied there is no socket any more.
directory=$(mktemp --directory /tmp/zelobox_proxy_XXXXXX)
trap 'rm -r "$directory"' EXIT
mv /tmp/zelo_messenger "$directory/middleware"
mkfifo "$directory/lines"
"${proxy[@]}" --connect "$directory/middleware" --trace "$trace" --quiet >"$directory/lines" &
exec 3<"$directory/lines"
grep --quiet --max-count=1 "listens on" <&3
status=0
"$@" || status=$?
kill -TERM $!
wait $!
exit "$status"
