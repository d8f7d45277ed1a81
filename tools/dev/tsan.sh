# shellcheck shell=bash
# about: runs the test suite under the thread sanitizer

packages() { needs_tests; }

run() {
  # shellcheck source=tools/dev/lib/sanitize.sh
  source "$ZELO_ROOT/tools/dev/lib/sanitize.sh"
  run_sanitized tsan "$@"
}
