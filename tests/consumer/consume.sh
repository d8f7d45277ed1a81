#!/bin/bash
# consume.sh find_package|pkg-config|add_subdirectory|FetchContent SOURCE BUILD: a program gets the library in this way
# and calls it. BUILD is a build of the library, which is installed and then moved where it is installed at all.
set -euo pipefail
way=$1 source=$2 build=$3
directory=$build/consumer/$way
rm -rf "$directory"
mkdir -p "$directory"

# A package must not know where it was installed.
install_and_move() {
  cmake --install "$build" --prefix "$directory/first" --component library >/dev/null
  cmake --install "$build" --prefix "$directory/first" --component development >/dev/null
  mv "$directory/first" "$directory/root"
}

configure() {
  # No flags of the library's own build.
  cmake -S "$source/tests/consumer" -B "$directory/build" -G Ninja -DCONSUMER_WAY="$way" "$@" >/dev/null
  cmake --build "$directory/build"
}

case $way in
find_package)
  install_and_move
  configure -DCMAKE_PREFIX_PATH="$directory/root"
  LD_LIBRARY_PATH=$(dirname "$(find "$directory/root" -name libzelocobalt.so)") "$directory/build/consumer"
  ;;
pkg-config)
  install_and_move
  PKG_CONFIG_PATH=$(dirname "$(find "$directory/root" -name zelocobalt.pc)")
  export PKG_CONFIG_PATH
  read -ra flags < <(pkg-config --cflags --libs zelocobalt)
  c++ -std=c++17 -rdynamic -o "$directory/consumer" "$source/tests/consumer/Consumer.cpp" \
    "$source"/tests/contract/{Host,Drm}.cpp "${flags[@]}"
  LD_LIBRARY_PATH=$(pkg-config --variable=libdir zelocobalt) "$directory/consumer"
  ;;
*)
  configure -DCONSUMER_SOURCE="$source"
  "$directory/build/consumer"
  ;;
esac
