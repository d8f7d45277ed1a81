# shellcheck shell=bash
# about: lets every call of the library fail once, with every error that its manual names

packages() { needs_build; }

run() {
  build default fault_test
  ZELO_FAULTS=full "$ZELO_BUILD/default/tests/faults/fault_test" "$@"
}
