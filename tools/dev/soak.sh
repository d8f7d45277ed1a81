# shellcheck shell=bash
# about: lives through a whole viewing day in fast motion: [minutes] [storm] [preset]

packages() { needs_build; }

run() {
  local preset=${3:-default}
  build "$preset" soak
  "$ZELO_BUILD/$preset/tests/soak/soak" "${1:-30}" ${2:+"$2"}
}
