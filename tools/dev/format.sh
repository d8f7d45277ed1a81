# shellcheck shell=bash
# about: brings the C++ sources into the house's form

packages() { needs clang-format-14 "the one version whose form the sources have"; }

run() {
  # shellcheck source=tools/dev/lib/files.sh
  source "$ZELO_ROOT/tools/dev/lib/files.sh"
  cxx_sources | xargs clang-format-14 -i
}
