# shellcheck shell=bash
# about: builds everything and runs the whole test suite; arguments go to CTest

packages() { needs_tests; }

run() {
  build default
  run_tests default "$@"
}
