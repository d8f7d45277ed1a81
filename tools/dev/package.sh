# shellcheck shell=bash
# about: builds the Debian packages for amd64 and armhf, installs the native ones and builds against them

packages() {
  needs_build
  needs g++-arm-linux-gnueabihf "the compiler for the box"
  needs dpkg-dev "reads the packages' dependencies off"
  needs lintian "checks the packages"
  needs qemu-user "runs the box's program"
  needs python3 "loads the package"
  needs pkgconf "finds the installed library"
}

# make_packages ARCHITECTURE PRESET MULTIARCH [CMAKE-ARGUMENT...]
make_packages() {
  local directory=$ZELO_BUILD/package-$1
  (cd "$ZELO_ROOT" && cmake --preset "$2" -B "$directory" -DZELO_BUILD_ZELOBOX=ON -DCMAKE_INSTALL_PREFIX=/usr \
    -DCMAKE_INSTALL_LIBDIR="lib/$3" "${@:4}" >/dev/null)
  cmake --build "$directory"
  rm -f "$directory"/*.deb
  (cd "$directory" && cpack --config CPackConfig.cmake)
  lintian --fail-on error,warning "$directory"/*.deb
  # Hardening is a matter of information to lintian, and of failure here.
  lintian --fail-on error,warning,info --tags \
    hardening-no-relro,hardening-no-bindnow,hardening-no-fortify-functions,hardening-no-pie \
    "$directory"/libzelocobalt_*.deb
}

# A root in which nothing is but these packages.
install_in_clean_root() {
  local root=$1
  shift
  rm -rf "$root"
  mkdir -p "$root/var/lib/dpkg/info" "$root/var/lib/dpkg/updates" "$root/var/lib/dpkg/triggers"
  touch "$root/var/lib/dpkg/status"
  dpkg --root="$root" --add-architecture armhf
  dpkg --root="$root" --force-depends --force-not-root --force-script-chrootless --install "$@"
}

build_by_pkg_config() {
  local root=$1 out=$2
  local -a flags
  read -r -a flags <<<"$(PKG_CONFIG_LIBDIR=$root/usr/lib/x86_64-linux-gnu/pkgconfig \
    PKG_CONFIG_SYSROOT_DIR=$root pkg-config --cflags --libs zelocobalt)"
  g++ -std=c++17 -rdynamic -o "$out" "$ZELO_ROOT"/tests/consumer/Consumer.cpp \
    "$ZELO_ROOT"/tests/contract/{Host,Drm}.cpp "${flags[@]}"
}

build_by_find_package() {
  cmake -S "$ZELO_ROOT/tests/consumer" -B "$2" -G Ninja -DCMAKE_PREFIX_PATH="$1/usr" >/dev/null
  cmake --build "$2"
}

run() {
  local root=$ZELO_BUILD/package-root library
  # One date for both architectures, whose common files have to be the same.
  SOURCE_DATE_EPOCH=$(git -C "$ZELO_ROOT" log -1 --format=%ct)
  export SOURCE_DATE_EPOCH
  make_packages amd64 release x86_64-linux-gnu
  make_packages armhf armhf-release arm-linux-gnueabihf -DZELO_STATIC_PROXY=ON
  # Both architectures side by side, but for the program, which is one for both.
  install_in_clean_root "$root" "$ZELO_BUILD"/package-amd64/*.deb "$ZELO_BUILD"/package-armhf/libzelocobalt*.deb
  library=$root/usr/lib/x86_64-linux-gnu
  build_by_pkg_config "$root" "$ZELO_BUILD/consumer-pkg-config"
  LD_LIBRARY_PATH=$library "$ZELO_BUILD/consumer-pkg-config"
  build_by_find_package "$root" "$ZELO_BUILD/consumer-cmake"
  LD_LIBRARY_PATH=$library "$ZELO_BUILD/consumer-cmake/consumer"
  echo "Both consumers found the installed library and called it."
  PYTHONPATH=$root/usr/lib/python3/dist-packages python3 -B -c 'import zelobox; zelobox.Host'
  qemu-arm "$(dpkg-deb --fsys-tarfile "$ZELO_BUILD"/package-armhf/zelobox_*.deb |
    tar --extract --directory "$ZELO_BUILD/package-armhf" --verbose ./usr/bin/zelobox-proxy |
    sed "s|^\.|$ZELO_BUILD/package-armhf|")" --help >/dev/null
  echo "The Python package and the static recorder of the box are there."
  # The installed zelobox finds the installed library.
  "$root/usr/bin/zelobox" demo >/dev/null
  echo "The installed zelobox played its demo."
  PATH=$root/usr/bin:$PATH PYTHONPATH=$root/usr/lib/python3/dist-packages PYTHONDONTWRITEBYTECODE=1 \
    /usr/bin/python3 -c 'from zelobox import Middleware
with Middleware() as box:
    assert box.state()["volume"] == 0'
  echo "The installed Python package drove the installed zelobox."
  ls -l "$ZELO_BUILD"/package-*/*.deb
}
