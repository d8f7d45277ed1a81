# shellcheck shell=bash
# The test suite under a sanitizer. A report of any process fails it, also of one whose end a test expects.

# run_sanitized PRESET [CTEST-ARGUMENT...]
run_sanitized() {
  local preset=$1 status=0 reports
  shift
  reports=$ZELO_BUILD/$preset/reports
  build "$preset"
  rm -rf "$reports"
  mkdir "$reports"
  set_sanitizer_options "$reports/report"
  run_tests "$preset" "$@" || status=$?
  print_reports "$reports" || status=1
  return "$status"
}

# set_sanitizer_options LOG-PATH
set_sanitizer_options() {
  export ASAN_OPTIONS="log_path=$1:detect_stack_use_after_return=1:strict_string_checks=1:detect_leaks=1"
  export UBSAN_OPTIONS="log_path=$1:print_stacktrace=1"
  # GoogleTest's clone would run on a stack of its own, which the address sanitizer does not know.
  export GTEST_DEATH_TEST_USE_FORK=1
  export TSAN_OPTIONS="log_path=$1:halt_on_error=1:second_deadlock_stack=1"
}

# print_reports DIRECTORY: fails if there is one
print_reports() {
  local files
  mapfile -t files < <(find "$1" -type f)
  [ "${#files[@]}" != 0 ] || return 0
  cat "${files[@]}" >&2
  echo "${#files[@]} sanitizer reports, kept in $1" >&2
  return 1
}
