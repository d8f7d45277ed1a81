# shellcheck shell=bash
# about: runs the test suite under memcheck or helgrind: [tool] [ctest argument...]

packages() {
  needs_tests
  needs valgrind "memcheck and helgrind"
}

run() {
  local tool=${1:-memcheck}
  case $tool in
  memcheck | helgrind) ;;
  *)
    echo "valgrind: '$tool' is neither memcheck nor helgrind" >&2
    exit 2
    ;;
  esac
  build default
  python3 "$ZELO_ROOT/tools/under_valgrind.py" "$ZELO_BUILD/default" "$ZELO_BUILD/default/$tool" "$tool" "${@:2}"
}
