# shellcheck shell=bash
# about: fuzzes the decoders and the receive loop: [target] [seconds]

fuzz_targets=(factory config stream roundtrip)

packages() {
  needs clang "libFuzzer needs it"
  needs libclang-rt-14-dev "libFuzzer and the sanitizers"
  needs cmake "configures the build"
  needs ninja-build "runs the build"
  needs python3 "makes seeds of the test vectors"
}

fuzz_usage() {
  echo "Usage: ./dev fuzz [target] [seconds]"
  echo "  target   ${fuzz_targets[*]}, or all (the default)"
  echo "  seconds  60 by default; all targets run at the same time"
  echo "The corpus grows in build/fuzz/corpus; an input that fails stays in build/fuzz/findings."
  echo "Example: ./dev fuzz stream 3600"
}

run() {
  local target=${1:-all} seconds=${2:-60} status=0 fuzzer fuzzers=()
  local targets=("$target")
  case " ${fuzz_targets[*]} all " in
  *" $target "*) ;;
  *)
    fuzz_usage >&2
    exit 2
    ;;
  esac
  if [[ ! $seconds =~ ^[0-9]+$ ]]; then
    echo "fuzz: '$seconds' is no number of seconds" >&2
    exit 2
  fi
  if [ "$target" = all ]; then targets=("${fuzz_targets[@]}"); fi
  build fuzz
  python3 "$ZELO_ROOT/fuzz/make_seeds.py" "$ZELO_ROOT/tests/vectors" "$ZELO_BUILD/fuzz/seeds"
  # Side by side: the stream mostly waits.
  for target in "${targets[@]}"; do
    fuzz_one "$target" "$seconds" &
    fuzzers+=($!)
  done
  for fuzzer in "${fuzzers[@]}"; do
    wait "$fuzzer" || status=1
  done
  return "$status"
}

# fuzz_one TARGET SECONDS: a line with the figures; fails if there is a finding
fuzz_one() {
  local directory=$ZELO_BUILD/fuzz result="no finding" status=0
  local log=$directory/$1.log
  mkdir -p "$directory/corpus/$1" "$directory/findings"
  echo "$1: $2 s"
  "$directory/fuzz/${1}_fuzzer" -max_total_time="$2" -dict="$ZELO_ROOT/fuzz/zelo.dict" -max_len=4096 -timeout=30 \
    -rss_limit_mb=2048 -print_final_stats=1 -artifact_prefix="$directory/findings/$1-" "$directory/corpus/$1" \
    "$directory/seeds/$1" >"$log" 2>&1 || status=1
  if [ "$status" != 0 ]; then
    tail -n 40 "$log" >&2
    result="FAILED, see $log and $directory/findings"
  fi
  echo "$1: $(figure number_of_executed_units "$log") executions," \
    "$(grep --only-matching 'cov: [0-9]* ft: [0-9]*' "$log" | tail -n 1), $result"
  return "$status"
}

# figure NAME LOG
figure() {
  sed -n "s/^stat::$1: *//p" "$2"
}
