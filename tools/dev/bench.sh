# shellcheck shell=bash
# about: measures the library beside the floor and others: [name...] [--quick], gate [--record], report, micro, traces

packages() {
  needs_build
  if [ "${1:-}" != report ]; then needs valgrind "counts instructions"; fi
  case ${1:-} in
  gate) ;;
  traces) needs tshark "to compare with" ;;
  report) needs python3-matplotlib "draws the plots" ;;
  *)
    needs python3-matplotlib "draws the plots"
    needs_benches
    ;;
  esac
}

run() {
  export PYTHONDONTWRITEBYTECODE=1
  case ${1:-} in
  gate) shift && run_gate "$@" ;;
  traces) shift && measure_traces "$@" ;;
  report) shift && write_report "$@" ;;
  *) measure "$@" ;;
  esac
}

run_gate() {
  build bench frames_count
  "$ZELO_ROOT/bench/gate/gate.py" "$ZELO_BUILD/bench/bench/frames_count" "$@"
}

# measure_traces [FRAMES]
measure_traces() {
  local directory
  directory=$(mktemp --directory)
  build default zelobox
  "$ZELO_ROOT/bench/traces.py" "$ZELO_BUILD/default/zelobox" "$ZELO_ROOT/tools/wireshark/zelo.lua" "$directory" "$@"
  rm --recursive "$directory"
}

# A whole run becomes the report; names and --quick leave it alone.
measure() {
  local results=$ZELO_BUILD/bench/results.json
  if [ $# != 0 ]; then results=$ZELO_BUILD/bench/some.json; fi
  configure bench
  grep --no-filename 'bench: left out' "$ZELO_BUILD/bench-configure.log" || true
  cmake --build "$ZELO_BUILD/bench" --target benches
  "$ZELO_ROOT/bench/run.py" "$ZELO_BUILD/bench/bench" --output "$results" "$@"
  "$ZELO_ROOT/bench/report.py" "$results"
  if [ $# = 0 ]; then write_report "$results"; fi
}

# write_report [RESULTS [SECTION...]]
write_report() {
  local results=${1:-$ZELO_BUILD/bench/results.json}
  shift $(($# > 0))
  "$ZELO_ROOT/bench/report.py" "$results" "$ZELO_ROOT/docs/performance.md" "$@"
  echo "docs/performance.md is written"
}
