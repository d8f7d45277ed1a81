# shellcheck shell=bash
# about: builds the release for several kinds of box, reads and tests the very file (--write: into the docs)

packages() {
  needs_tests
  needs g++-arm-linux-gnueabihf "the compiler for the box"
  needs g++-arm-linux-gnueabi "the compiler for a box without floating-point hardware"
  needs qemu-user "runs the box's programs"
  needs libfaketime "gives them a clock after 2038"
}

run() {
  local -a page=()
  if [ "${1:-}" = --write ]; then
    page=(--write "$ZELO_ROOT/docs/integration.md")
    shift
  fi
  python3 -B "$ZELO_ROOT/tools/boxes.py" "$ZELO_ROOT" "$ZELO_BUILD" "${page[@]}" "$@"
}
