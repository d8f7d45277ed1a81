#!/bin/bash
# headers.sh shim SOURCE BUILD     the library is built with a vendor's headers through a shim, under C++20
# headers.sh missing SOURCE BUILD  a header that is not there is named at once
set -eu
directory=$3/headers-$1
rm -rf "$directory"
configure() {
    cmake -S "$source" -B "$directory" -G Ninja -DZELO_BUILD_ZELOBOX=OFF -DZELO_BUILD_TESTS=OFF "$@" \
        >"$directory.log" 2>&1
}
source=$2
case $1 in
shim)
    configure -DZELO_STB_INCLUDE_DIR="$source/tests/shimstb;$source/tests/shimstb/vendor" -DCMAKE_CXX_STANDARD=20 ||
        { cat "$directory.log"; exit 1; }
    cmake --build "$directory"
    # What is asked of the host has the vendor's names, and none of the stand-ins'.
    names=$(nm -DC --undefined-only "$directory/libzelocobalt.so")
    for name in 'vendor::clock::monotonicMicroseconds()' 'vendor::Identity::getCurrentDeviceId' \
        'vendor::Widevine::Widevine()' 'vendor::Widevine::bridge()' 'vendor::Widevine::isL1() const' STBLogger_log; do
        grep -F "$name" <<<"$names" || { echo "not imported: $name"; exit 1; }
    done
    ! grep -E 'NSTime|STBWidevineDrm|STBFirmwareUpdater' <<<"$names"
    ;;
missing)
    mkdir -p "$directory/include"
    touch "$directory/include/NSTime.h"
    ! configure -DZELO_STB_INCLUDE_DIR="$directory/include" || { echo "configured without the headers"; exit 1; }
    tr '\n' ' ' <"$directory.log" | grep 'has no STBFirmwareUpdater.h' || { cat "$directory.log"; exit 1; }
    ;;
esac
