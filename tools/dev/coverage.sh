# shellcheck shell=bash
# about: runs the test suite with coverage: a table, and pages in build/coverage/html

packages() {
  needs_tests
  needs gcovr "reads and draws the coverage"
}

run() {
  local status=0
  build coverage
  find "$ZELO_BUILD/coverage" -name '*.gcda' -delete
  run_tests coverage "$@" || status=$?
  mkdir -p "$ZELO_BUILD/coverage/html"
  (cd "$ZELO_ROOT" && gcovr --root . --filter 'cobalt/' --filter 'src/' --filter 'inc/private/' \
    --exclude-throw-branches --exclude-unreachable-branches --gcov-ignore-parse-errors \
    --html-details "$ZELO_BUILD/coverage/html/index.html" --json "$ZELO_BUILD/coverage/coverage.json" \
    --txt --print-summary "$ZELO_BUILD/coverage")
  # A part of the suite leaves out more.
  if [ $# = 0 ]; then
    "$ZELO_ROOT/tools/coverage_gaps.py" "$ZELO_ROOT" "$ZELO_BUILD/coverage/coverage.json" \
      "$ZELO_ROOT/docs/coverage.md" || status=1
  fi
  return "$status"
}
