#!/bin/bash
# names.sh exported NM LIBRARY LIST      the library defines exactly the names of the list
# names.sh needed READELF LIBRARY        the library needs nothing but the language runtime and the C library
# names.sh imported NM LIBRARY LIST      what no library of the system supplies is exactly the list: the host's part
# names.sh hardened READELF LIBRARY      relocations are read-only and bound at once, stacks and buffers are checked
# names.sh version READELF LIBRARY TEXT  the note in the file says so
# names.sh unique NM LIBRARY             no symbol keeps the library in the process after dlclose
set -eu
export LC_ALL=C
check=$1
case $check in
exported)
    diff -u --label "$4" --label "exported by $3" "$4" \
        <("$2" -D --defined-only --format=posix "$3" | awk '{print $1}' | sort)
    ;;
imported)
    diff -u --label "$4" --label "left to the host by $3" "$4" \
        <("$2" -D --undefined-only --format=posix "$3" | awk '$1 ~ /STB|NSTime/ {print $1}' | sort)
    ;;
needed)
    others=$("$2" -dW "$3" | sed -n 's/.*(NEEDED).*\[\(.*\)\].*/\1/p' |
        grep -vE '^(libstdc\+\+|libm|libgcc_s|libc|libpthread|libdl|ld-linux.*)\.so\.[0-9]+$' || true)
    [ -z "$others" ] || { echo "needed beyond the runtime: $others"; exit 1; }
    ;;
hardened)
    said=$("$2" --wide --dynamic --program-headers --dyn-syms "$3")
    for sign in 'GNU_RELRO' 'BIND_NOW' '__stack_chk_fail@' '__[a-z]*printf_chk@' 'GNU_STACK .* RW '; do
        grep -q "$sign" <<<"$said" || { echo "not in the file: $sign"; exit 1; }
    done
    ;;
version)
    "$2" --string-dump=.note.zelocobalt "$3" | grep -F "$4"
    ;;
unique)
    ! "$2" -D "$3" | grep ' u '
    ;;
esac
