# shellcheck shell=bash
# Every option of the build works by itself, and an installation can be taken back.
set -euo pipefail

directory=$ZELO_BUILD/options

# configures CMAKE-ARGUMENT...: in a build of its own, without a preset
configures() {
  rm -rf "$directory"
  if ! cmake -S "$ZELO_ROOT" -B "$directory" -G Ninja "$@" >"$directory.log" 2>&1; then
    cat "$directory.log"
    echo "^ cmake $*"
    return 1
  fi
}

# Each in a value that is not its own.
values=(
  ZELO_CXX11_ABI=OFF
  ZELO_STB_INCLUDE_DIR="$ZELO_ROOT/tests/altstb"
  ZELO_WERROR=ON
  ZELO_CLANG_TIDY=ON
  "ZELO_SANITIZE=address,undefined"
  ZELO_COVERAGE=ON
  ZELO_BUILD_ZELOBOX=OFF
  ZELO_BUILD_TESTS=OFF
  ZELO_TEST_OPTIONS=-O0
  ZELO_BENCH=ON
  ZELO_INSTALL=OFF
  ZELO_STATIC_PROXY=ON
  ZELO_HARDENING=LAZY
  ZELO_SEPARATE_DEBUG=ON
  ZELO_TIME64=OFF
  ZELO_MIDDLEWARE_UID=0
  ZELO_MAX_GLIBC=2.36
  ZELO_MAX_GLIBCXX=3.4.30
)
for value in "${values[@]}"; do
  echo "$value"
  configures "-D$value"
done
configures -DZELO_BUILD_FUZZERS=ON -DCMAKE_CXX_COMPILER=clang++

files=("$ZELO_ROOT/CMakeLists.txt" "$ZELO_ROOT/cmake/Library.cmake")
while read -r name; do
  if [[ " ${values[*]} ZELO_BUILD_FUZZERS=" != *" $name="* ]]; then
    echo "the option $name is not tried here"
    exit 1
  fi
done < <(sed -nE 's/^(option|set|cmake_dependent_option)\((ZELO_[A-Z0-9_]+) .*/\2/p' "${files[@]}")

configures -DZELO_BUILD_ZELOBOX=OFF -DZELO_BUILD_TESTS=OFF
cmake --build "$directory"
cmake --install "$directory" --prefix "$directory/root" >/dev/null
if find "$directory/root" -path '*/share/doc/*' | grep .; then
  echo "^ Debian's files in a plain installation"
  exit 1
fi
cmake --build "$directory" --target uninstall >/dev/null
if find "$directory/root" ! -type d | grep .; then
  echo "^ left over by uninstall"
  exit 1
fi
