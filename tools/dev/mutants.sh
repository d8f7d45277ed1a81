# shellcheck shell=bash
# about: breaks the library in one line after the other; the suite must notice each: [first] [last]

packages() {
  needs_tests
  needs python3 "applies the mutations"
}

run() {
  mkdir -p "$ZELO_BUILD/mutants"
  PYTHONDONTWRITEBYTECODE=1 python3 "$ZELO_ROOT/tests/mutants/mutants.py" "$ZELO_ROOT" "$ZELO_BUILD/mutants" "$@" |
    tee "$ZELO_BUILD/mutants/mutants.log"
}
