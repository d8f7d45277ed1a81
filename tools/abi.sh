#!/bin/bash
# tools/abi.sh check LIBRARY BASELINE    fails with a readable difference if the interface is not the recorded one
# tools/abi.sh record LIBRARY BASELINE   records the binary interface of LIBRARY, which has debug information
set -eu
headers=$(dirname "$0")/../cobalt

describe() {
    # Where the sources lay is no part of the interface.
    abidw --exported-interfaces-only --headers-dir "$headers" --drop-private-types --no-show-locs --no-comp-dir-path \
        --no-corpus-path --no-elf-needed --no-write-default-sizes "$1" |
        sed -E "s, path='[^']*/(cobalt|src)/, path='\1/,"
}

if ! command -v abidw abidiff >/dev/null; then
    echo "abidw and abidiff are missing (Debian package abigail-tools)" >&2
    exit 1
fi
case ${1:-} in
check)
    current=$(mktemp --suffix=.abi)
    trap 'rm "$current"' EXIT
    describe "$2" >"$current"
    if ! abidiff --harmless "$3" "$current"; then
        echo "The binary interface is not the one in $3. If it is meant to change, see docs/abi.md." >&2
        exit 1
    fi
    ;;
record)
    describe "$2" >"$3"
    ;;
*)
    sed -n '2,3s/^# //p' "$0" >&2
    exit 2
    ;;
esac
