# shellcheck shell=bash
# about: runs the library in a simulated world: [--seeds N] [--minutes M] [--seed S --trace] [--scene NAME ...]

packages() {
  needs_build
  needs binutils "isolates the library's objects, names the places in a trace"
}

run() {
  build default simulate >&2
  "$ZELO_BUILD/default/tests/simulation/simulate" "$@"
}
