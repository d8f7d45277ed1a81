# shellcheck shell=bash
# about: builds everything and runs the whole test suite; arguments go to CTest

packages() {
  needs_build
  needs tshark "shows what Wireshark makes of zelobox's captures"
}

run() {
  build default
  run_tests default "$@"
}
