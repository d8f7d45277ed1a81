# shellcheck shell=bash
# Configures, builds and tests a preset. The results lie in build/PRESET.

# configure PRESET [CMAKE-ARGUMENT...]: says nothing unless it fails
configure() {
  local log=$ZELO_BUILD/$1-configure.log
  mkdir -p "$ZELO_BUILD"
  if [ -z "${CMAKE_CXX_COMPILER_LAUNCHER:-}" ] && command -v ccache >/dev/null; then
    export CMAKE_CXX_COMPILER_LAUNCHER=ccache
  fi
  if ! (cd "$ZELO_ROOT" && cmake --preset "$@") >"$log" 2>&1; then
    cat "$log" >&2
    return 1
  fi
}

# build PRESET [TARGET...]: everything unless targets are named
build() {
  local preset=$1
  shift
  configure "$preset"
  cmake --build "$ZELO_BUILD/$preset" ${1:+--target "$@"}
}

# run_tests PRESET [CTEST-ARGUMENT...]: ends with a line that counts the tests. Most of a test's time is waiting.
run_tests() {
  local directory=$ZELO_BUILD/$1 started=$SECONDS status=0
  shift
  ctest --test-dir "$directory" --parallel $((2 * $(nproc))) --output-on-failure --no-tests=error \
    --output-junit "$directory/results.xml" "$@" || status=$?
  if [ -f "$directory/results.xml" ]; then
    print_counts "$directory/results.xml" $((SECONDS - started)) || status=1
  fi
  return "$status"
}

# print_counts RESULTS SECONDS: fails if a test did not pass or none was run
print_counts() {
  local total failed skipped
  total=$(results_attribute tests "$1")
  skipped=$(($(results_attribute skipped "$1") + $(results_attribute disabled "$1")))
  failed=$(results_attribute failures "$1")
  echo
  echo "$total tests in $2 s"
  printf '%d passed, %d failed' $((total - failed - skipped)) "$failed"
  if [ "$skipped" != 0 ]; then printf ', %d skipped' "$skipped"; fi
  echo
  [ "$failed" = 0 ] && [ "$total" != "$skipped" ]
}

# results_attribute NAME RESULTS: a number out of the element that encloses all tests
results_attribute() {
  sed -n "/<testsuite/,/>/ s/^[[:space:]]*$1=\"\([0-9]*\)\".*/\1/p" "$2" | head -n 1
}
