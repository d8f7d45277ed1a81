# shellcheck shell=bash
# about: measures the library, side by side with the floor and others: [gate | micro | report | work...] [option...]

packages() {
  needs_build
  case ${1:-} in
  gate) needs valgrind "counts instructions" ;;
  esac
}

run() {
  local name=${1:-}
  export PYTHONDONTWRITEBYTECODE=1
  case $name in
  gate) shift && run_gate "$@" ;;
  *)
    echo "bench: there is no '$name'" >&2
    return 2
    ;;
  esac
}

run_gate() {
  build bench frames_count
  "$ZELO_ROOT/bench/gate/gate.py" "$ZELO_BUILD/bench/bench/frames_count" "$@"
}
