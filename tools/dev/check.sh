# shellcheck shell=bash
# about: runs the gates in tests/gates, or those that are named

packages() {
  needs_tests
  needs_benches
  needs libclang-rt-14-dev "the fuzz targets are linked with it"
  needs clang-format-14 "the one version whose form the sources have"
  needs clang-tidy-14 "the linter"
  needs shellcheck "the scripts' linter"
}

run() {
  local gate started status=0
  mkdir -p "$ZELO_BUILD/gates"
  local -a gates=("$@")
  if [ $# = 0 ]; then mapfile -t gates < <(cd "$ZELO_ROOT/tests/gates" && basename --suffix=.sh -- *.sh); fi
  for gate in "${gates[@]}"; do
    started=$SECONDS
    if run_gate "$gate" >"$ZELO_BUILD/gates/$gate.log" 2>&1; then
      printf '%-14s passed %4d s\n' "$gate" $((SECONDS - started))
    else
      status=1
      cat "$ZELO_BUILD/gates/$gate.log"
      printf '%-14s FAILED %4d s\n' "$gate" $((SECONDS - started))
    fi
  done
  return "$status"
}

# run_gate NAME: in a shell of its own, which ends at its first error
run_gate() {
  bash -c '
    source "$ZELO_ROOT/tools/dev/lib/build.sh"
    source "$ZELO_ROOT/tools/dev/lib/files.sh"
    source "$ZELO_ROOT/tests/gates/$1.sh"' gate "$1"
}
